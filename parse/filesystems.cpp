#include "parse/filesystems.h"

#include <algorithm>
#include <initializer_list>
#include <map>
#include <set>
#include <unordered_map>
#include <utility>

static bool oneOf(std::string_view word, std::initializer_list<std::string_view> words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

bool isPseudoFs(std::string_view type) {
    return oneOf(type, {"proc",      "sysfs",   "devtmpfs",    "devpts",     "cgroup", "cgroup2",   "mqueue",
                        "debugfs",   "tracefs", "securityfs",  "pstore",     "bpf",    "configfs",  "fusectl",
                        "hugetlbfs", "autofs",  "binfmt_misc", "rpc_pipefs", "nsfs",   "efivarfs",  "selinuxfs",
                        "ramfs",     "sockfs",  "pipefs",      "resctrl",    "nfsd",   "fuse.lxcfs"});
}

bool isRemoteFs(std::string_view type) {
    return type.starts_with("fuse") || type.starts_with("nfs") ||
           oneOf(type, {"cifs", "smb3", "smbfs", "ceph", "9p", "afs", "lustre", "gfs2", "ocfs2", "glusterfs", "beegfs",
                        "coda", "ncpfs", "virtiofs"});
}

// An overlay has the space of the filesystem that its upper directory is on. Where it is all there is, in a container,
// it stands for that one.
static bool isLeftOut(const MountInfo& mount) {
    return isPseudoFs(mount.type) || (mount.type == "overlay" && mount.point != "/");
}

// --- Mounts that no path leads to

namespace {
// Another mount on top of one, or on a directory above it, hides it: who asks for its path gets the answer of the
// other.
class Ways {
    enum class Way : char { Unknown, Open, Lost };
    const std::vector<MountInfo>& mounts;
    std::unordered_map<uint64_t, size_t> byId;
    std::set<std::pair<uint64_t, std::string_view>> taken; // what is mounted where: its parent and its point
    std::vector<Way> ways;                                 // to the directory that each is mounted on

    const size_t* parentOf(size_t at) const {
        const auto found = byId.find(mounts[at].parent);
        return found == byId.end() ? nullptr : &found->second;
    }
    // Whether the path within its parent leads through another mount.
    bool isBelowOther(const MountInfo& mount, const MountInfo& parent) const {
        for (std::string_view path = mount.point; path.size() > 1;) {
            path = path.substr(0, std::max<size_t>(path.rfind('/'), 1));
            if (path.size() < parent.point.size()) return false;
            if (taken.count({parent.id, path})) return true;
        }
        return false;
    }
    Way wayTo(size_t at) {
        std::vector<size_t> climbed;
        for (const size_t* next = &at; next && ways[*next] == Way::Unknown; next = parentOf(*next)) {
            climbed.push_back(*next);
            ways[*next] = Way::Open; // of the root, which has no parent here or is its own
        }
        for (; !climbed.empty(); climbed.pop_back()) {
            const auto* parent = parentOf(climbed.back());
            if (!parent) continue;
            const bool lost = ways[*parent] == Way::Lost || isBelowOther(mounts[climbed.back()], mounts[*parent]);
            ways[climbed.back()] = lost ? Way::Lost : Way::Open;
        }
        return ways[at];
    }

public:
    explicit Ways(const std::vector<MountInfo>& all) : mounts(all), ways(all.size(), Way::Unknown) {
        for (size_t i = 0; i < mounts.size(); i++) {
            byId.emplace(mounts[i].id, i);
            if (mounts[i].id != mounts[i].parent) taken.emplace(mounts[i].parent, mounts[i].point);
        }
    }
    bool isHidden(size_t at) {
        const bool covered = taken.count({mounts[at].id, mounts[at].point}) > 0;
        return covered || wayTo(at) == Way::Lost;
    }
};
} // namespace

// --- Filesystems

std::vector<MountInfo> filesystemsOf(const std::vector<MountInfo>& mounts) {
    std::vector<MountInfo> result;
    std::map<std::pair<uint32_t, uint32_t>, size_t> byDevice;
    Ways ways(mounts);
    for (size_t i = 0; i < mounts.size(); i++) {
        auto& mount = mounts[i];
        if (isLeftOut(mount) || ways.isHidden(i)) continue;
        const auto [known, isNew] = byDevice.try_emplace({mount.major, mount.minor}, result.size());
        if (isNew) result.push_back(mount);
        else if (result[known->second].root != "/" && mount.root == "/") result[known->second] = mount;
    }
    return result;
}

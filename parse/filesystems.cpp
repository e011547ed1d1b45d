#include "parse/filesystems.h"

#include <algorithm>
#include <initializer_list>
#include <map>
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

std::vector<MountInfo> filesystemsOf(const std::vector<MountInfo>& mounts) {
    std::vector<MountInfo> result;
    std::map<std::pair<uint32_t, uint32_t>, size_t> byDevice;
    for (auto& mount : mounts) {
        if (isLeftOut(mount)) continue;
        const auto [known, isNew] = byDevice.try_emplace({mount.major, mount.minor}, result.size());
        if (isNew) result.push_back(mount);
        else if (result[known->second].root != "/" && mount.root == "/") result[known->second] = mount;
    }
    return result;
}

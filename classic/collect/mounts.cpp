// The mount table and the space of the mounted filesystems.
#include "classic/collect/volumes.h"

#include "base/door.h"
#include "base/output.h"
#include "classic/collect/slots.h"
#include "classic/collect/voltext.h"

#include <cerrno>
#include <cstring>
#include <unordered_map>

namespace {
// The logical volumes without a mount, by "group-volume"; those of one name in the order of the list.
// Quirk: device-mapper doubles the hyphens within a name ("vg--a-lv"), and these names do not. So volumes with hyphens
// are never linked to their mounts, nor are those mounted as /dev/vg/lv. Seen by tests/worlds/disk-capture-lvm,
// disk-map-joins.
class TUnmounted {
    std::unordered_map<std::string_view, int> first;
    std::vector<int> next; // the next volume of the same name

public:
    TUnmounted() : next(lvlist.size(), NoLink) {
        for (size_t i = lvlist.size(); i-- > 0;) {
            const auto [at, isNew] = first.emplace(lvlist[i].fsname, static_cast<int>(i));
            if (!isNew) next[i] = at->second, at->second = static_cast<int>(i);
        }
    }
    // Removes and returns the first volume of that name; NoLink without one.
    int take(std::string_view fsname) {
        const auto found = first.find(fsname);
        if (found == first.end() || found->second == NoLink) return NoLink;
        const int lv = found->second;
        found->second = next[static_cast<size_t>(lv)];
        return lv;
    }
};
} // namespace

static void setSpace(TMount& mount, const TSpace& space) {
    mount.bsize = space.bsize;
    static_cast<TSizes&>(mount) = getSizes(space);
    mount.set = mount.totalsize > 0 && mount.totalinode > 0 ? 1 : 0;
}

static void getMountSpace(TMount& mount, const char* dir) {
    TSpace space;
    const auto sayFailed = [&](const char* what) { say("%s failed(%s - %d:%s)\n", what, dir, errno, strerror(errno)); };
    switch (getSpace(dir, space)) {
    case SpaceAnswer::Ok:
        return setSpace(mount, space);
    case SpaceAnswer::StatFailed:
        return; // nothing is mounted where this run can see it
    case SpaceAnswer::OpenFailed:
        return sayFailed("open");
    case SpaceAnswer::StatfsFailed:
        return sayFailed("fstatfs");
    }
}

static void unlinkVolumes() {
    for (auto& lv : lvlist) lv.mount = NoLink;
}

void getMounts() {
    MountTable table;
    if (!table.open("/etc/mtab")) return;
    TUnmounted unmounted;
    while (const auto* entry = table.next()) {
        const int index = static_cast<int>(mountlist.size());
        auto* added = addRow(mountlist);
        if (!added) return unlinkVolumes(); // the list is empty now
        auto& mount = *added;
        mount.lastfsname = getlast(entry->mnt_fsname);
        mount.fsname = entry->mnt_fsname;
        mount.dir = entry->mnt_dir;
        mount.type = entry->mnt_type;
        getMountSpace(mount, entry->mnt_dir);
        mount.lv = unmounted.take(mount.lastfsname);
        if (mount.lv != NoLink) lvlist[static_cast<size_t>(mount.lv)].mount = index;
    }
}

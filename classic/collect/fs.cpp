#include "classic/collect/fs.h"

// Pseudo filesystems (proc, sysfs) have no blocks.
bool getFilesystem(const mntent& entry, const TSpace& space, TFS& fs) {
    fs.dev = entry.mnt_fsname;
    fs.dir = entry.mnt_dir;
    fs.type = entry.mnt_type;
    fs.bsize = space.bsize;
    static_cast<TSizes&>(fs) = getSizes(space);
    return fs.totalsize > 0;
}

// False when there is no memory for the rows. A mount that gives no figures is left out: a network filesystem whose
// server is gone, a directory that may not be read. Only the directory that is being asked is open.
static bool getSample(std::vector<TFS>& rows) {
    rows.clear();
    MountTable table;
    if (!table.open("/etc/mtab")) return true;
    while (const mntent* entry = table.next()) {
        TSpace space;
        if (getSpace(entry->mnt_dir, space) != SpaceAnswer::Ok) continue;
        if (!makeRoom(rows, rows.size() + 1)) return false;
        if (!getFilesystem(*entry, space, rows.emplace_back())) rows.pop_back();
    }
    return true;
}

static constexpr double TSizes::* Figures[] = {
    &TSizes::totalsize, &TSizes::freesize, &TSizes::availsize, &TSizes::totalinode, &TSizes::freeinode,
};

// Quirk: a row is compared with the one at its position, so a mount or unmount before it in the table hides its changes
// for an interval. Seen by tests/worlds/fs-mounts-change.
static void getChanges(const std::vector<TFS>& now, const std::vector<TFS>& before, double seconds,
                       std::vector<TSizes>& changes) {
    for (size_t i = 0; i < now.size() && i < before.size(); i++) {
        if (!(now[i].dir == before[i].dir)) continue;
        for (auto figure : Figures) changes[i].*figure = (now[i].*figure - before[i].*figure) / seconds;
    }
}

int getfs(int CallingIndex, int icur, int ipre, double seconds, TFSSlots& fs) {
    if (CallingIndex == 0) fs = {};
    auto& now = fs.sample[icur];
    auto& changes = fs.result;
    changes.clear();
    if (!getSample(now)) {
        now.clear();
        return 0;
    }
    if (!makeRoom(changes, now.size())) return 0;
    changes.resize(now.size());
    if (seconds > 0) getChanges(now, fs.sample[ipre], seconds, changes);
    return static_cast<int>(now.size());
}

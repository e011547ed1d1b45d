#include "sample/mountids.h"

#include "parse/filesystems.h"

#include <utility>

// Files in memory are files like others, and /dev has the block devices.
static MountIds::Kind kindOf(const std::string& type) {
    if (isRemoteFs(type)) return MountIds::Kind::Remote;
    if (type == "devtmpfs" || type == "ramfs" || type == "hugetlbfs") return MountIds::Kind::Local;
    return isPseudoFs(type) ? MountIds::Kind::Kernel : MountIds::Kind::Local;
}

void MountIds::add(const MountInfo& info, bool own) {
    Mount mount{kindOf(info.type), own, info.major, info.minor, info.point, info.type, info.source};
    const auto id = static_cast<uint32_t>(info.id);
    if (own) mounts[id] = std::move(mount);
    else mounts.try_emplace(id, std::move(mount));
}

void MountIds::renew() {
    constexpr unsigned Memory = 32; // renewals for which other namespaces are remembered
    if (known && table.isOpen() && !table.changed()) {
        if (++renewals % Memory == 0) std::erase_if(mounts, [](auto& item) { return !item.second.own; });
        return;
    }
    mounts.clear();
    known = table.read(text);
    if (!known) return;
    for (auto& info : parseMountInfo(text.view())) add(info, true);
}

const MountIds::Mount* MountIds::find(uint32_t id) const {
    const auto found = mounts.find(id);
    return found == mounts.end() ? nullptr : &found->second;
}

// A filesystem that the own namespace has, too, is shown where it is mounted there.
void MountIds::readOf(uint32_t pid) {
    if (!readFile(root.path("/proc/" + std::to_string(pid) + "/mountinfo").c_str(), text)) return;
    std::unordered_map<uint64_t, const Mount*> byDevice;
    for (auto& [id, mount] : mounts) {
        if (!mount.own) continue;
        auto& first = byDevice[uint64_t{mount.major} << 32 | mount.minor];
        if (!first || mount.point.size() < first->point.size()) first = &mount;
    }
    for (auto& info : parseMountInfo(text.view())) {
        const auto here = byDevice.find(uint64_t{info.major} << 32 | info.minor);
        if (here != byDevice.end()) info.point = here->second->point, info.source = here->second->source;
        add(info, false);
    }
}

const MountIds::Mount& MountIds::find(uint32_t id, uint32_t pid) {
    if (const auto* mount = find(id)) return *mount;
    readOf(pid);
    return mounts[id]; // Unknown where it is still not there
}

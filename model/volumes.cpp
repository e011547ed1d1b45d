#include "model/volumes.h"

#include "model/lvmname.h"
#include "model/volumedevice.h"

#include <algorithm>
#include <map>
#include <set>

namespace {
struct Builder {
    const VolumeSample& sample;
    VolumeMap map;
    std::map<std::string_view, const BlockDevice*> byName, byMapperName;
    std::map<std::pair<uint32_t, uint32_t>, const BlockDevice*> byNumber;

    const BlockDevice* named(std::string_view name) const;
    const BlockDevice* ofPath(std::string_view path) const;
    void addDevice(const BlockDevice& device);
    void addEdges(const BlockDevice& device);
    void addHeld(const BlockDevice& holder, const BlockDevice& held, std::set<std::string_view>& seen);
    void addNvmePaths(const BlockDevice& device);
    void addBtrfs(const BtrfsVolume& volume);
    std::string ofMount(const MountInfo& mount) const;
    std::string holderOf(std::string_view path) const;
    void addMounts();
    void addOverlays();
    void addSwaps();
    void addContents();
};
} // namespace

// The kernel's number of a mapped device says nothing to people.
static std::string nameOf(const VolumeRow& row) {
    return row.name.starts_with("dm-") && !row.label.empty() ? row.label : row.name;
}

static bool isHidden(const BlockDevice& device) { return isHiddenLvm(device.dmName, device.dmUuid); }

// --- Devices

const BlockDevice* Builder::named(std::string_view name) const {
    const auto found = byName.find(name);
    return found == byName.end() ? nullptr : found->second;
}

// The device of "/dev/sda", "/dev/mapper/vg-lv", "/dev/disk/by-...".
const BlockDevice* Builder::ofPath(std::string_view path) const {
    if (!path.starts_with("/dev/")) return nullptr;
    path.remove_prefix(5);
    std::string name(path);
    std::replace(name.begin(), name.end(), '/', '!');
    if (const auto* device = named(name)) return device;
    if (path.starts_with("mapper/"))
        if (const auto found = byMapperName.find(path.substr(7)); found != byMapperName.end()) return found->second;
    for (auto& device : sample.devices)
        if (std::find(device.links.begin(), device.links.end(), path) != device.links.end()) return &device;
    return nullptr;
}

void Builder::addDevice(const BlockDevice& device) {
    map.volumes.push_back({devOf(device), device.name, kindOf(device), labelOf(device), device.fsType,
                           stateOf(sample, device), device.size_bytes});
}

// --- Edges

static std::string heldState(const VolumeSample& sample, const BlockDevice& holder, const BlockDevice& held) {
    for (auto& member : holder.members)
        if (member.device == held.name) return member.state;
    for (auto& map : sample.maps)
        if (map.device == holder.name && holder.dmUuid.starts_with("mpath-"))
            for (auto& path : map.paths)
                if (path.device == held.name) return path.dm;
    // Of the two kinds of device below bcache only the cached one has a state.
    if (holder.name.starts_with("bcache") && held.bcacheState.empty()) return "cache";
    return {};
}

// Hidden layers are passed through: what they stand on is held in their place. A layer that belongs to a volume of its
// own (a thin pool, the origin of a snapshot) stands for that.
void Builder::addHeld(const BlockDevice& holder, const BlockDevice& held, std::set<std::string_view>& seen) {
    if (!seen.insert(held.name).second) return;
    const auto owner = byMapperName.find(layerOwner(held.dmName, held.dmUuid));
    if (owner != byMapperName.end() && owner->second != &holder && !isHidden(*owner->second))
        return addHeld(holder, *owner->second, seen);
    if (isHidden(held)) {
        for (auto& below : held.slaves)
            if (const auto* device = named(below)) addHeld(holder, *device, seen);
        return;
    }
    const bool path = holder.dmUuid.starts_with("mpath-");
    map.holds.push_back(
        {devOf(holder), devOf(held), heldState(sample, holder, held), path ? held.deviceState : std::string()});
}

void Builder::addNvmePaths(const BlockDevice& device) {
    const auto* head = named(nvmeHead(device));
    if (head) map.holds.push_back({devOf(*head), devOf(device), device.pathState, device.deviceState});
}

void Builder::addEdges(const BlockDevice& device) {
    if (isHidden(device)) return;
    std::set<std::string_view> seen;
    if (const auto* disk = named(device.disk)) addHeld(device, *disk, seen);
    for (auto& held : device.slaves)
        if (const auto* below = named(held)) addHeld(device, *below, seen);
    addNvmePaths(device);
}

// Only those of several devices are volumes of their own.
void Builder::addBtrfs(const BtrfsVolume& volume) {
    if (volume.devices.size() + volume.missing < 2) return;
    VolumeRow row{volume.uuid, volume.label.empty() ? volume.uuid : volume.label, "btrfs", volume.label, "btrfs", "",
                  {}};
    if (volume.missing) row.state = std::to_string(volume.missing) + " missing";
    uint64_t size = 0;
    for (auto& name : volume.devices) {
        const auto* device = named(name);
        if (!device) continue;
        size += device->size_bytes;
        map.holds.push_back({volume.uuid, devOf(*device), "", ""});
    }
    row.size_bytes = size;
    map.volumes.push_back(std::move(row));
}

// --- Mounts

// The dev of the volume that a mount's filesystem is on; empty: none of ours.
std::string Builder::ofMount(const MountInfo& mount) const {
    if (mount.major) {
        const auto found = byNumber.find({mount.major, mount.minor});
        return found == byNumber.end() ? std::string() : devOf(*found->second);
    }
    if (mount.type != "btrfs") return {}; // of the rest with a number of their own none is on a device
    const auto* device = ofPath(mount.source);
    if (!device) return {};
    for (auto& volume : sample.btrfs)
        if (std::find(volume.devices.begin(), volume.devices.end(), device->name) != volume.devices.end() &&
            volume.devices.size() + volume.missing > 1)
            return volume.uuid;
    return devOf(*device);
}

// The dev of the volume that a path lies on, by the longest mount point above it.
std::string Builder::holderOf(std::string_view path) const {
    const MountInfo* best = nullptr;
    for (auto& mount : sample.mounts) {
        const std::string_view point = mount.point;
        const bool above =
            point == "/" || (path.starts_with(point) && (path.size() == point.size() || path[point.size()] == '/'));
        if (above && (!best || point.size() >= best->point.size())) best = &mount;
    }
    return best ? ofMount(*best) : std::string();
}

// A filesystem stands once for each part of it that is mounted as such: the whole of it, of btrfs each subvolume. All
// else is bound from there.
void Builder::addMounts() {
    std::map<std::pair<std::string, std::string>, size_t> shown;
    std::set<std::string> whole;         // filesystems that are mounted as such
    std::map<std::string, size_t> bound; // of one that is nowhere, its place in the list
    for (auto& mount : sample.mounts) {
        const auto dev = ofMount(mount);
        if (dev.empty()) continue;
        const auto subvolume = mountOption(mount.superOptions, "subvol");
        const bool own = mount.root == (subvolume.empty() ? "/" : subvolume);
        const std::string root = mount.root == "/" ? "" : mount.root;
        if (const auto first = bound.find(dev); first != bound.end() && own) {
            map.mounts[first->second] = {dev, mount.point, mount.type, root};
            shown[{dev, root}] = first->second;
            whole.insert(dev);
            bound.erase(first);
            continue;
        }
        if (own ? shown.count({dev, root}) : whole.count(dev) + bound.count(dev)) continue;
        (own ? shown[{dev, root}] : bound[dev]) = map.mounts.size();
        if (own) whole.insert(dev);
        map.mounts.push_back({dev, mount.point, mount.type, root});
    }
}

void Builder::addOverlays() {
    for (auto& mount : sample.mounts) {
        if (mount.type != "overlay") continue;
        const auto upper = mountOption(mount.superOptions, "upperdir");
        if (const auto dev = holderOf(upper); !upper.empty() && !dev.empty())
            map.mounts.push_back({dev, mount.point, mount.type, upper});
    }
}

void Builder::addSwaps() {
    for (auto& area : sample.swaps) {
        const auto* device = ofPath(area.path);
        if (device) map.mounts.push_back({devOf(*device), "[swap]", "swap", ""});
        else if (const auto dev = holderOf(area.path); area.file && !dev.empty())
            map.mounts.push_back({dev, area.path, "swap", ""});
    }
}

// What udev does not know (it is not there, or did not look again after mkfs) a mount or swap area tells.
void Builder::addContents() {
    std::map<std::string_view, std::string_view> types;
    for (auto& mount : map.mounts)
        if (mount.type != "overlay" && !mount.point.starts_with("/") == (mount.type == "swap"))
            types.emplace(mount.dev, mount.type);
    for (auto& row : map.volumes)
        if (const auto known = types.find(row.dev); row.fs.empty() && known != types.end()) row.fs = known->second;
}

VolumeMap volumeMap(const VolumeSample& sample) {
    Builder builder{sample, {}, {}, {}, {}};
    for (auto& device : sample.devices) {
        builder.byNumber[{device.major, device.minor}] = &device;
        builder.byName[device.name] = &device;
        if (!device.dmName.empty()) builder.byMapperName[device.dmName] = &device;
    }
    for (auto& device : sample.devices)
        if (!isHidden(device)) builder.addDevice(device);
    for (auto& device : sample.devices)
        if (!device.dmName.empty()) builder.map.mapped[devOf(device)] = labelOf(device);
    for (auto& device : sample.devices) builder.addEdges(device);
    for (auto& volume : sample.btrfs) builder.addBtrfs(volume);
    builder.addMounts();
    builder.addOverlays();
    builder.addSwaps();
    builder.addContents();
    for (auto& group : sample.groups)
        builder.map.groups.push_back(
            {group.name, group.size_bytes, group.free_bytes, group.partial() ? "partial" : ""});
    return std::move(builder.map);
}

// --- What a filesystem is on

static const VolumeRow* volumeOf(std::span<const VolumeRow> volumes, std::string_view dev) {
    const auto found = std::find_if(volumes.begin(), volumes.end(), [&](auto& row) { return row.dev == dev; });
    return found == volumes.end() ? nullptr : &*found;
}

static const VolumeRow* volumeOfMount(std::span<const VolumeRow> volumes, std::span<const MountRow> mounts,
                                      std::string_view point) {
    for (auto& mount : mounts)
        if (!point.empty() && mount.point == point) return volumeOf(volumes, mount.dev);
    return nullptr;
}

// Paths below a multipath disk are not disks of their own. Only in a damaged map does something stand on itself.
static void addDisks(std::span<const VolumeRow> volumes, std::span<const HoldsRow> holds, const VolumeRow& row,
                     std::string& names, std::set<std::string_view>& seen) {
    if (!seen.insert(row.dev).second) return;
    bool leaf = true;
    for (auto& edge : holds) {
        const auto* held = edge.holder == row.dev && row.kind != "mpath" && row.kind != "disk"
                               ? volumeOf(volumes, edge.held)
                               : nullptr;
        if (!held) continue;
        leaf = false;
        addDisks(volumes, holds, *held, names, seen);
    }
    if (leaf) names.append(names.empty() ? "" : " ").append(nameOf(row));
}

VolumePlace placeOf(std::span<const VolumeRow> volumes, std::span<const HoldsRow> holds,
                    std::span<const MountRow> mounts, std::string_view device, std::string_view point) {
    const auto* row = volumeOf(volumes, device);
    if (!row && device.starts_with("0:")) row = volumeOfMount(volumes, mounts, point);
    if (!row) return {};
    VolumePlace place{nameOf(*row), {}};
    std::set<std::string_view> seen;
    addDisks(volumes, holds, *row, place.disks, seen);
    return place;
}

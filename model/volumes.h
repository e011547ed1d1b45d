// The map of volumes from one sample. Pure.
#pragma once

#include "record/volumes.h"
#include "sample/volumes.h"

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct VolumeMap {
    std::vector<VolumeRow> volumes; // disks first, then what stands on them; hidden layers of LVM are folded
    std::vector<HoldsRow> holds;
    std::vector<MountRow> mounts;
    std::vector<VolumeGroupRow> groups;
    std::map<std::string, std::string, std::less<>> mapped; // volumes of all mapped devices by dev, hidden ones, too
};

VolumeMap volumeMap(const VolumeSample& sample);

// Where a filesystem is, for people: the device that holds it, and the disks below that. Empty: on none of the map.
struct VolumePlace {
    std::string volume, disks; // "vg/lv"; "sda sdb", as in DISK
};
// Of a filesystem without a device number of its own (btrfs, overlay) the mount leads to the device.
VolumePlace placeOf(std::span<const VolumeRow> volumes, std::span<const HoldsRow> holds,
                    std::span<const MountRow> mounts, std::string_view device, std::string_view point);

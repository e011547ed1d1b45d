// The map of volumes: what stands on what. One record a device (VOLUME), an edge (HOLDS), a mount (MOUNT)
// and a volume group (VG).
#pragma once

#include "record/kind.h"

#include <cstdint>
#include <optional>
#include <string>

// One block device, or a btrfs filesystem of several.
struct VolumeRow {
    std::string dev;   // "8:16"; of btrfs its UUID
    std::string name;  // sda1, dm-0; of btrfs its label or UUID
    std::string kind;  // disk, part, lvm, thinpool, mpath, crypt, dm, raid1 ..., loop, bcache, zram, path (NVMe), btrfs
    std::string label; // vg/lv, a map's alias, a loop's file, an array's name
    std::string fs;    // filesystem or other content, as udev knows it
    std::string state; // empty: nothing to say
    std::optional<uint64_t> size_bytes;
};
inline constexpr auto VolumeKind =
    kind<VolumeRow>("VOLUME", id("dev", &VolumeRow::dev), label("name", &VolumeRow::name),
                    label("kind", &VolumeRow::kind), label("label", &VolumeRow::label), label("fs", &VolumeRow::fs),
                    label("state", &VolumeRow::state), level("size", "B", &VolumeRow::size_bytes));

// `holder` stands on `held`: a partition on its disk, a map on its path, a volume on what it is stored on.
struct HoldsRow {
    std::string holder, held; // their dev
    std::string state;        // the holder's view: a path's active or failed, a member's in_sync or faulty
    std::string device_state; // of a path: what the device says of itself
};
inline constexpr auto HoldsKind =
    kind<HoldsRow>("HOLDS", id("holder", &HoldsRow::holder), id("held", &HoldsRow::held),
                   label("state", &HoldsRow::state), label("device_state", &HoldsRow::device_state));

// Where a filesystem is mounted; a swap area.
struct MountRow {
    std::string dev;   // of the device; of an overlay that of the filesystem with its upper directory
    std::string point; // the directory; a swap file's path; "[swap]"
    std::string type;  // ext4, overlay, swap
    std::string root;  // what of the filesystem is mounted, where it is not all of it: a subvolume, the upper directory
};
inline constexpr auto MountKind = kind<MountRow>("MOUNT", id("dev", &MountRow::dev), id("point", &MountRow::point),
                                                 label("type", &MountRow::type), label("root", &MountRow::root));

// A volume group, as LVM's own tool reports it.
struct VolumeGroupRow {
    std::string name;
    std::optional<uint64_t> size_bytes, free_bytes;
    std::string state; // "partial": a disk of it is missing; else empty
};
inline constexpr auto VolumeGroupKind =
    kind<VolumeGroupRow>("VG", id("name", &VolumeGroupRow::name), level("size", "B", &VolumeGroupRow::size_bytes),
                         level("free", "B", &VolumeGroupRow::free_bytes), label("state", &VolumeGroupRow::state));

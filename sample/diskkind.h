// What a block device is, and which others it stands on.
#pragma once

#include "base/root.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using DeviceNumber = std::pair<uint32_t, uint32_t>; // major, minor

enum class DiskKind : uint8_t {
    Disk,
    Partition,
    Mapped, // device-mapper
    Raid,   // md
    Cache,  // bcache
    Loop,
    Ram,
    Zram,
    Path // of a native NVMe multipath disk
};

// By its name alone: sda, nvme0n1p1 is taken for a disk.
DiskKind kindOf(std::string_view name);
// Whether its transfers are those of files, or of memory: loop, ram, zram.
constexpr bool isPseudo(DiskKind kind) {
    return kind == DiskKind::Loop || kind == DiskKind::Ram || kind == DiskKind::Zram;
}
// Whether `name` is `whole` with the number of a partition: sda1, nvme0n1p1.
bool isPartOf(std::string_view name, std::string_view whole);
// Whether it stands on other block devices. `folder`: "/sys/block/dm-0", "/sys/dev/block/253:0"; where it cannot be
// read, the kind must do.
bool standsOnOthers(const Root& root, const std::string& folder, DiskKind kind);
// The disks that it stands on, at any depth; of a partition its disk.
std::vector<DeviceNumber> devicesBelow(const Root& root, const std::string& folder);

// Block devices (DISK), and all of them together (DISKS).
#pragma once

#include "record/kind.h"

#include <cstdint>
#include <optional>
#include <string>

// What a device did in an interval. Times are summed over the requests that ended; the kernel counts milliseconds.
struct DiskActivity {
    std::optional<uint64_t> reads, read_bytes, read_us, reads_merged;
    std::optional<uint64_t> writes, write_bytes, write_us, writes_merged;
    std::optional<uint64_t> discards, discard_bytes, discard_us; // kernels since 4.18
    std::optional<uint64_t> flushes, flush_us;                   // kernels since 5.5
    std::optional<uint64_t> busy_us;  // at least one request was under way, as the kernel samples it
    std::optional<uint64_t> queue_us; // time under way summed over requests, those included that have not ended
};

struct DiskRow : DiskActivity {
    std::string name;      // sdb
    std::string device;    // 8:16
    uint64_t sequence = 0; // no two disks since boot have the same; 0: this kernel does not count them
    std::string kind; // disk, partition, dm, md, bcache, loop, ram, zram; mpath, path: multipath, and one of its paths
    bool stacked = false;   // stands on other devices, which count the same transfers: not part of DISKS
    uint64_t in_flight = 0; // requests at the end
    std::string volume;     // of a mapped device, whose own name is a number: vg/lv, or the name of the map
    std::string holds;      // what stands on it, in short: "vg_data: backup /srv/backup, p1 /boot"
};
inline constexpr auto DiskKindOf = kind<DiskRow>(
    "DISK", id("name", &DiskRow::name), id("dev", &DiskRow::device), label("diskseq", &DiskRow::sequence),
    label("kind", &DiskRow::kind), level("stacked", "", &DiskRow::stacked), amount("reads", "", &DiskRow::reads),
    amount("read_bytes", "B", &DiskRow::read_bytes), amount("read_us", "us", &DiskRow::read_us),
    amount("reads_merged", "", &DiskRow::reads_merged), amount("writes", "", &DiskRow::writes),
    amount("write_bytes", "B", &DiskRow::write_bytes), amount("write_us", "us", &DiskRow::write_us),
    amount("writes_merged", "", &DiskRow::writes_merged), amount("discards", "", &DiskRow::discards),
    amount("discard_bytes", "B", &DiskRow::discard_bytes), amount("discard_us", "us", &DiskRow::discard_us),
    amount("flushes", "", &DiskRow::flushes), amount("flush_us", "us", &DiskRow::flush_us),
    amount("busy_us", "us", &DiskRow::busy_us), amount("queue_us", "us", &DiskRow::queue_us),
    level("in_flight", "", &DiskRow::in_flight), label("volume", &DiskRow::volume), label("holds", &DiskRow::holds));

// What people call it.
inline const std::string& nameOf(const DiskRow& disk) { return disk.volume.empty() ? disk.name : disk.volume; }

// Whether it is where transfers end: what stands on others is not, but for a multipath disk, which its paths are parts
// of.
inline bool isWholeDisk(const DiskRow& disk) {
    return disk.kind == "mpath" || (!disk.stacked && disk.kind != "partition" && disk.kind != "path");
}

// Whether a disk does its own transfers: what stands on others, or in memory, counts theirs a second time. Of a
// multipath disk it is the whole that does, not its paths: those who use it wait for all of them together.
inline bool isPhysical(const DiskRow& disk) {
    return isWholeDisk(disk) && disk.kind != "loop" && disk.kind != "ram" && disk.kind != "zram";
}

// All devices that stand on no other, but for loop, ram and zram, whose transfers are those of files or of memory.
struct DisksRow : DiskActivity {
    uint64_t disks = 0;     // that count here
    uint64_t idle = 0;      // of them, which did nothing
    uint64_t in_flight = 0; // requests at the end
};
inline constexpr auto DisksKind =
    kind<DisksRow>("DISKS", level("disks", "", &DisksRow::disks), level("idle", "", &DisksRow::idle),
                   amount("reads", "", &DisksRow::reads), amount("read_bytes", "B", &DisksRow::read_bytes),
                   amount("read_us", "us", &DisksRow::read_us), amount("reads_merged", "", &DisksRow::reads_merged),
                   amount("writes", "", &DisksRow::writes), amount("write_bytes", "B", &DisksRow::write_bytes),
                   amount("write_us", "us", &DisksRow::write_us), amount("writes_merged", "", &DisksRow::writes_merged),
                   amount("discards", "", &DisksRow::discards), amount("discard_bytes", "B", &DisksRow::discard_bytes),
                   amount("discard_us", "us", &DisksRow::discard_us), amount("flushes", "", &DisksRow::flushes),
                   amount("flush_us", "us", &DisksRow::flush_us), amount("busy_us", "us", &DisksRow::busy_us),
                   amount("queue_us", "us", &DisksRow::queue_us), level("in_flight", "", &DisksRow::in_flight));

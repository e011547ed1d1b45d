// /proc/diskstats: what every block device did since it appeared.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// One device. Sectors have 512 bytes, whatever the device's own are. Milliseconds have 32 bits and wrap.
struct DiskCounters {
    uint32_t major = 0, minor = 0;
    std::string name;
    uint64_t reads = 0, reads_merged = 0, read_sectors = 0, read_ms = 0;
    uint64_t writes = 0, writes_merged = 0, write_sectors = 0, write_ms = 0;
    uint64_t in_flight = 0, busy_ms = 0, queue_ms = 0; // now; any request under way; summed over requests
    uint64_t discards = 0, discards_merged = 0, discard_sectors = 0, discard_ms = 0; // since 4.18
    uint64_t flushes = 0, flush_ms = 0;                                              // since 5.5
    unsigned columns = 0; // counters that the line has: 11, 15, 17, and maybe more in times to come
};

// Fills the list anew, keeping its room. Lines that are none of these are left out.
void parseDiskstats(std::string_view text, std::vector<DiskCounters>& disks);

// What every block device did, and what it is.
#pragma once

#include "base/held.h"
#include "base/netlink.h"
#include "base/root.h"
#include "parse/diskstats.h"
#include "sample/diskkind.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

// What does not change while a device is there.
struct DiskFacts {
    DiskKind kind = DiskKind::Disk;
    bool stacked = false;  // it stands on other block devices, which count the same transfers
    uint64_t sequence = 0; // diskseq: no two disks since boot have the same; 0: this kernel does not count them
};

struct DiskSample {
    int64_t at_us = 0; // monotonic
    bool known = false;
    std::vector<DiskCounters> disks; // in the kernel's order
    std::vector<DiskFacts> facts;    // of the disk at the same position
};

class DiskSampler {
    Root root;
    HeldFile diskstats;
    Netlink uevents;
    Contents text;
    std::map<std::pair<uint32_t, uint32_t>, std::pair<std::string, DiskFacts>> known; // by device number, with its name
    uint64_t lost = 0;

    bool devicesChanged();
    DiskFacts factsOf(const DiskCounters& disk, const DiskCounters* whole);

public:
    explicit DiskSampler(const Root& where);
    void sample(DiskSample& now);
    uint64_t notAllowed() const { return text.denied; }
};

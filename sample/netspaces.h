// The counters of the interfaces of other network namespaces, from /proc/PID/net/dev of one process each. No namespace
// is entered or kept alive.
#pragma once

#include "base/held.h"
#include "base/root.h"
#include "sample/sock.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

struct SpaceLinkCounters {
    uint64_t rx_bytes = 0, tx_bytes = 0, rx_packets = 0, tx_packets = 0;
    uint64_t rx_errors = 0, tx_errors = 0, rx_dropped = 0, tx_dropped = 0;
};

struct SpaceLink {
    std::string name;
    SpaceLinkCounters now;
    std::optional<SpaceLinkCounters> before; // none: it was not there, or nobody had looked
};

struct NetSpace {
    uint32_t inode = 0, pid = 0;      // pid: of one of its processes
    int64_t at_us = 0, before_us = 0; // monotonic, of its last two reads; 0: there was none
    bool fresh = false;               // it was not there in the pass before
    bool read = false;                // in this pass
    std::vector<SpaceLink> links;     // by name
};

struct NetSpaceSample {
    std::vector<NetSpace> spaces; // by inode
};

class NetSpaceSampler {
    HeldPlace proc;
    Contents text;
    uint64_t denied = 0;
    uint32_t last = 0; // inode of the namespace that was read last
    // Working space; it keeps its room from pass to pass.
    std::vector<NetSpace> present;
    std::vector<SpaceLink> links;

    void readSpace(NetSpace& space);
    void keepPresent(std::span<const SockSpace> found, std::vector<NetSpace>& spaces);

public:
    static constexpr size_t MostReads = 8; // namespaces in a pass; the others wait for their turn
    explicit NetSpaceSampler(const Root& root) { proc.open(root.path("/proc").c_str()); }
    // The same sample each time: it keeps the counters.
    void sample(std::span<const SockSpace> found, NetSpaceSample& to);
    uint64_t notAllowed() const { return denied; }
};

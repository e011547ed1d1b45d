// How much is used of what the kernel gives out only so much of.
#pragma once

#include "base/held.h"
#include "base/root.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

enum class Limit : uint8_t {
    Conntrack,  // connections that are tracked
    Files,      // open files
    Pids,       // processes and threads, by the numbers there are for them
    Threads,    // the same, by the memory there is for them
    TcpMemory,  // buffers of TCP sockets
    UdpMemory,  // of UDP sockets
    TcpOrphans, // connections that no process holds any more
    TimeWait,   // connections that ended
    Neighbours4,
    Neighbours6,
    Backlog, // received packets that wait for a CPU
    Squeeze, // rounds of receiving that ended before all was received
    Aio,     // requests of asynchronous I/O
    Keys     // of the account that is nearest to its limit
};
inline constexpr size_t LimitCount = static_cast<size_t>(Limit::Keys) + 1;

struct LimitUse {
    std::optional<uint64_t> use, limit;
    std::optional<uint64_t> reached; // how often since boot
};

struct LimitSample {
    int64_t at_us = 0; // monotonic
    std::array<LimitUse, LimitCount> limits;
    LimitUse& operator[](Limit limit) { return limits[static_cast<size_t>(limit)]; }
};

class LimitSampler {
    HeldFile conntrack, conntrackMost, conntrackStat, files, loadavg, pidMost, threadsMost, sockstat, tcpMemory,
        udpMemory, orphansMost, timeWaitMost, arp, arpMost, ndisc, ndiscMost, softnet, backlogMost, aio, aioMost, keys;
    Contents text;
    uint64_t page_size;

    std::optional<uint64_t> number(HeldFile& file, unsigned place = 0);
    std::string_view read(HeldFile& file);
    void sampleSockets(LimitSample& now);
    void sampleTables(LimitSample& now);

public:
    explicit LimitSampler(const Root& root);
    void sample(LimitSample& now);
    uint64_t notAllowed() const { return text.denied; }
};

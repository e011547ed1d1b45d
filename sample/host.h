// What the first line of every screen says of the machine.
#pragma once

#include "base/held.h"
#include "base/host.h"
#include "base/root.h"

#include <cstdint>
#include <optional>

struct HostSample {
    int64_t at_us = 0;       // monotonic
    int64_t boottime_us = 0; // time asleep included
    Host host;
    std::optional<uint64_t> cpus;   // online
    std::optional<uint64_t> memory; // bytes
    std::optional<uint64_t> uptime_s;
};

class HostSampler {
    Root root;
    HeldFile online, meminfo, uptime;
    Contents text;
    Host host;
    std::optional<uint64_t> memory; // as it was last read
    uint64_t samples = 0;

    void readMemory();

public:
    explicit HostSampler(const Root& where);
    void sample(HostSample& now);
    uint64_t notAllowed() const { return text.denied; }
};

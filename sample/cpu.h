// CPU time, the scheduler and the load, of the machine and of each core.
#pragma once

#include "base/held.h"
#include "base/root.h"
#include "parse/loadavg.h"
#include "parse/stat.h"

#include <cstdint>
#include <optional>
#include <vector>

struct CpuSample {
    int64_t at_us = 0;  // monotonic, when it was read
    bool known = false; // /proc/stat could be read
    SystemStat stat;
    std::optional<LoadAverage> load;
    uint64_t tick_us = 10000; // length of a tick
};

class CpuSampler {
    HeldFile stat, load;
    Contents text;
    uint64_t tick_us;

public:
    explicit CpuSampler(const Root& root);
    void sample(CpuSample& now);
    uint64_t notAllowed() const { return text.denied; }
};

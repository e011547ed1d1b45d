// CPU time, the scheduler and the load, of the machine and of each core.
#pragma once

#include "base/held.h"
#include "base/root.h"
#include "parse/loadavg.h"
#include "parse/stat.h"

#include <cstdint>
#include <optional>
#include <vector>

struct CoreFrequency {
    uint64_t core = 0; // the kernel's number
    uint64_t khz = 0;  // now
};

struct CpuSample {
    int64_t at_us = 0;  // monotonic, when it was read
    bool known = false; // /proc/stat could be read
    SystemStat stat;
    std::optional<LoadAverage> load;
    uint64_t tick_us = 10000; // length of a tick
    // Of the cores that were read, in their order; empty where the kernel does not tell, as in most virtual machines.
    std::vector<CoreFrequency> frequencies;
};

class CpuSampler {
    HeldFile stat, load;
    Contents text;
    uint64_t tick_us;
    struct Core {
        uint64_t core;
        HeldFile frequency;
    };
    Root root;
    size_t most;              // cores whose frequency is read
    std::vector<Core> chosen; // evenly spread over all
    size_t cores = 0;         // that they were chosen from

    void choose(const CpuSample& now);
    void readFrequencies(CpuSample& now);

public:
    // Each frequency costs a read, which may ask the core itself: a mean is taken of some of them.
    static constexpr size_t ForMean = 8;
    static constexpr size_t MostHeld = 256; // files of frequencies; others are opened each time
    explicit CpuSampler(const Root& where, size_t frequencies = ForMean);
    void sample(CpuSample& now);
    uint64_t notAllowed() const { return text.denied; }
};

// Reads the frequency of every core.
class CoreSampler : public CpuSampler {
public:
    explicit CoreSampler(const Root& where) : CpuSampler(where, SIZE_MAX) {}
};

// What the program itself costs, and what it could not do: the record SELF.
#pragma once

#include "base/held.h"
#include "record/interval.h"

#include <cstdint>
#include <optional>

class SelfCost {
    HeldFile statm{"/proc/self/statm"};
    Contents text;
    uint64_t begun_ns = 0; // CPU time of this program when the sample at hand began
    uint64_t own_ns = 0;   // the same at the end of the last one
    uint64_t denied = 0;   // what rights have forbidden up to the last sample

    std::optional<uint64_t> resident();

public:
    // A sample begins.
    void begin();
    // The sample is over, and the interval has its rows. `refused`: what rights have forbidden since the start.
    void fill(const Interval& interval, uint64_t refused, SelfRow& row);
};

// What wyrt itself cost, and what it could not do.
#pragma once

#include "record/kind.h"

#include <cstdint>
#include <optional>

struct SelfRow {
    std::optional<uint64_t> cpu_us;    // CPU time of all its threads
    std::optional<uint64_t> sample_us; // of it, from the first read of a sample to its last
    std::optional<uint64_t> memory;    // resident, bytes
    uint64_t late_us = 0;              // the sample began so long after its time on the grid
    uint64_t skipped = 0;              // samples that were due and not taken since the last one
    uint64_t unwritten = 0;            // intervals that could not be written and became part of this one
    uint64_t helpers_stuck = 0;        // helper processes that were given up and have not ended
    uint64_t not_allowed = 0;          // things that rights kept it from reading
};
inline constexpr auto SelfKind =
    kind<SelfRow>("SELF", amount("cpu", "us", &SelfRow::cpu_us), amount("sample", "us", &SelfRow::sample_us),
                  level("memory", "B", &SelfRow::memory), level("late", "us", &SelfRow::late_us),
                  amount("skipped", "", &SelfRow::skipped), amount("unwritten", "", &SelfRow::unwritten),
                  level("helpers_stuck", "", &SelfRow::helpers_stuck), level("not_allowed", "", &SelfRow::not_allowed));

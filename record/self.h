// The cost of wyrt itself, and what it could not do.
#pragma once

#include "record/kind.h"

#include <cstdint>
#include <optional>

struct SelfRow {
    std::optional<uint64_t> cpu_us;    // CPU time of all its threads
    std::optional<uint64_t> sample_us; // the part of it from the first to the last read of a sample
    std::optional<uint64_t> memory;    // resident, bytes
    uint64_t late_us = 0;              // how long after its scheduled time the sample began
    uint64_t skipped = 0;              // samples that were skipped since the last one
    uint64_t unwritten = 0;            // intervals that could not be written, and whose time is part of this one
    uint64_t helpers_stuck = 0;        // helper processes that hang now
    uint64_t not_allowed = 0;          // files and questions of this sample that a right forbade
    // TCP segments of the network namespaces that it looks at, and how many of them its sockets explain.
    std::optional<uint64_t> tcp_segments, tcp_explained;
};
inline constexpr auto SelfKind = kind<SelfRow>(
    "SELF", amount("cpu", "us", &SelfRow::cpu_us), amount("sample", "us", &SelfRow::sample_us),
    level("memory", "B", &SelfRow::memory), level("late", "us", &SelfRow::late_us),
    amount("skipped", "", &SelfRow::skipped), amount("unwritten", "", &SelfRow::unwritten),
    level("helpers_stuck", "", &SelfRow::helpers_stuck), level("not_allowed", "", &SelfRow::not_allowed),
    amount("tcp_segments", "", &SelfRow::tcp_segments), amount("tcp_explained", "", &SelfRow::tcp_explained));

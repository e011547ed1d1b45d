// A log of a CPU's cores.
#pragma once

#include "tests/madelog.h"

#include <string>

inline Interval cpuInterval(uint64_t number, size_t cores) {
    Interval interval;
    interval.time = {Start + static_cast<int64_t>(number) * 1000, 60};
    interval.elapsed_us = 1000000, interval.number = number;
    for (size_t i = 0; i < cores; i++) interval.cores.rows.emplace_back().core = i;
    interval.cores.sampled = true, interval.cores.elapsed_us = 1000000;
    return interval;
}

inline std::string headText() {
    std::string log;
    LogWriter().head(Head, {}, {Start, 60}, log);
    return log;
}

inline std::string logOf(size_t intervals) {
    std::string log = headText();
    for (uint64_t i = 1; i <= intervals; i++) LogWriter().interval(cpuInterval(i, 3), log);
    return log;
}

// A log of a CPU's cores, and any log read in parts.
#pragma once

#include "record/frames.h"
#include "record/log.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

inline LogFrames::Read partsOf(const std::string& log, size_t most = SIZE_MAX) {
    auto at = std::make_shared<size_t>(0);
    return [&log, at, most](char* to, size_t size) {
        const size_t n = std::min({size, most, log.size() - *at});
        memcpy(to, log.data() + *at, n);
        *at += n;
        return n;
    };
}

inline Interval cpuInterval(uint64_t number, size_t cores) {
    Interval interval;
    interval.time = {1795266310000 + static_cast<int64_t>(number) * 1000, 60};
    interval.elapsed_us = 1000000, interval.number = number;
    for (size_t i = 0; i < cores; i++) interval.cores.rows.emplace_back().core = i;
    interval.cores.sampled = true, interval.cores.elapsed_us = 1000000;
    return interval;
}

inline std::string headText() {
    std::string log;
    LogWriter().head({"1.2.0", "db7", "boot", "run"}, {}, {1795266310000, 60}, log);
    return log;
}

inline std::string logOf(size_t intervals) {
    std::string log = headText();
    for (uint64_t i = 1; i <= intervals; i++) LogWriter().interval(cpuInterval(i, 3), log);
    return log;
}

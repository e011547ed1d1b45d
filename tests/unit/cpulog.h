// Logs of what a CPU did.
#pragma once

#include "record/log.h"
#include "tests/madelog.h"

#include <string>
#include <vector>

inline Interval intervalAt(int64_t at_ms, uint64_t number = 1) {
    Interval interval;
    interval.number = number;
    interval.time = {at_ms, 60};
    interval.elapsed_us = 2000000;
    auto& cpu = interval.cpu.rows.emplace_back();
    cpu.user_us = 1000000, cpu.idle_us = 3000000, cpu.running = 3;
    interval.cpu.sampled = true, interval.cpu.elapsed_us = 2000000;
    auto& self = interval.self.rows.emplace_back();
    self.cpu_us = 2000;
    interval.self.sampled = true, interval.self.elapsed_us = 2000000;
    return interval;
}

// A log with an interval that ends at each of these times, in seconds after the start.
inline std::string logOf(const std::vector<int64_t>& seconds, const LogHead& head = Head) {
    std::string log;
    LogWriter writer;
    ViewRow view;
    view.areas = "cpu";
    writer.head(head, view, {Start, 60}, log);
    uint64_t number = 0;
    for (const int64_t at : seconds) writer.interval(intervalAt(Start + at * 1000, ++number), log);
    return log;
}

inline void addInterval(int64_t at_ms, uint64_t number, std::string& log) {
    Interval interval;
    interval.number = number;
    interval.time = {at_ms, 60};
    interval.elapsed_us = 2000000;
    auto& cpu = interval.cpu.rows.emplace_back();
    cpu.user_us = 100000 * number, cpu.idle_us = 4000000 - *cpu.user_us, cpu.load1 = static_cast<double>(number);
    interval.cpu.sampled = true, interval.cpu.elapsed_us = 2000000;
    LogWriter().interval(interval, log);
}

inline void addHead(std::string& log, const char* run = "run") {
    ViewRow view;
    view.areas = "cpu";
    LogWriter().head({"1.2.0", "db7", "boot", run}, view, {Start, 60}, log);
}

// Intervals of two seconds, numbered on, that end from `from` to `to`, in seconds after the start.
inline std::string logOf(int64_t from, int64_t to, const char* run = "run", uint64_t number = 1) {
    std::string log;
    addHead(log, run);
    for (int64_t at = from; at <= to; at += 2) addInterval(Start + at * 1000, number++, log);
    return log;
}

// The times of the intervals that are shown, in local time.
inline std::string timesOf(const std::string& text) {
    std::string times;
    const std::string before = "db7  2026-11-21 ";
    for (size_t at = text.find(before); at != text.npos; at = text.find(before, at + 1))
        times += text.substr(at + before.size(), 8) + " ";
    return times;
}

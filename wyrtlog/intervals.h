// The whole intervals of the span that a command is asked about.
#pragma once

#include "wyrtlog/logs.h"

#include <string>

// What --since and --until say, or --at: from there on. Returns why they cannot be used; empty: they can.
std::string takeBounds(const Asked& asked, Bounds& bounds);

// Calls f(reader, changed, interval) for every interval of the span; `changed`: head and view of the reader are not
// those of the call before. f says whether to go on. Returns an exit status, as eachFound does.
using OnInterval = std::function<bool(const LogReader& reader, bool changed, Interval& interval)>;
class Intervals {
    uint64_t count = 0, left = 0;

public:
    int each(const Asked& asked, const Bounds& bounds, const OnInterval& onInterval, Want want = Want::Rows,
             Watcher* watcher = nullptr);
    // The one that f has is damaged after all.
    void leaveOut() { count--, left++; }
    // How many there were.
    uint64_t given() const { return count; }
    // A line on standard error when some were left out because they are damaged or cut short.
    void reportLeftOut() const;
};

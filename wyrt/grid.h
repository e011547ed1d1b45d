// When samples are due: the n-th at start + n × interval, on the monotonic clock. One that was missed is left out, not
// caught up, so that a held or overloaded machine sees no burst of samples afterwards.
#pragma once

#include <algorithm>
#include <cstdint>

class Grid {
    int64_t start, interval; // microseconds
    int64_t next = 1;        // number of the sample that is due next

public:
    Grid(int64_t start_us, int64_t interval_us) : start(start_us), interval(std::max<int64_t>(interval_us, 1)) {}

    // When the next sample is due.
    int64_t due() const { return start + next * interval; }
    // How much later than that it is now; 0: not yet.
    uint64_t lateness(int64_t now) const { return now > due() ? static_cast<uint64_t>(now - due()) : 0; }
    // The sample that was due has been taken, or given up, by now: the next one is the first whose time is to come.
    // Gives the number of those whose time has passed in between.
    uint64_t advance(int64_t now) {
        const int64_t after = std::max(next + 1, (std::max(now, start) - start) / interval + 1);
        const auto skipped = static_cast<uint64_t>(after - next - 1);
        next = after;
        return skipped;
    }
};

// How long to wait after an attempt that failed.
#pragma once

#include <cstdint>
#include <optional>

class Backoff {
    unsigned failures = 0; // in a row

public:
    static constexpr int64_t First = 1000000, Longest = 60000000; // microseconds
    static constexpr int64_t LongestAsked = 600000000;            // what a receiver can ask for
    // Microseconds until the next attempt: a second, then twice as much each time, up to a minute. Of that a fifth is
    // left to `random`, so that many senders do not come back at the same moment. A receiver that names a time
    // (Retry-After) gets it, up to ten minutes.
    int64_t next(std::optional<int64_t> asked_s, uint32_t random);
    void succeed() { failures = 0; }
    unsigned failed() const { return failures; }
};

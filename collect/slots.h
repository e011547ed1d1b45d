// The two alternating samples of a report and what was computed from them.
#pragma once

#include <vector>

// Samples 0 and 1 change places every pass (icur is filled, ipre holds the pass before); `result` is what the interval
// between them amounts to: rates per second, deltas or a ranking. Capacity is kept from pass to pass: a steady machine
// allocates nothing.
template <typename T, typename R = T> struct Slots {
    std::vector<T> sample[2];
    std::vector<R> result;
};

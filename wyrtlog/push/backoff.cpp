#include "wyrtlog/push/backoff.h"

#include <algorithm>

int64_t Backoff::next(std::optional<int64_t> asked_s, uint32_t random) {
    constexpr unsigned Doublings = 6; // then it is more than the longest time
    constexpr int64_t Parts = 1000;
    int64_t wait = std::min(Longest, First << std::min(failures, Doublings));
    failures++;
    const int64_t left = wait / 5;
    wait -= left - left / Parts * static_cast<int64_t>(random % (Parts + 1));
    if (!asked_s) return wait;
    return std::clamp(std::min(*asked_s, LongestAsked / 1000000) * 1000000, wait, LongestAsked);
}

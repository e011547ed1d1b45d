// /proc/swaps: the swap areas.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct SwapArea {
    std::string path; // /dev/dm-1 or a file; the kernel adds " (deleted)" to a name that was removed
    bool file = false;
    uint64_t size_kib = 0, used_kib = 0;
    int priority = 0;
};

// A line is: /dev/dm-1    partition  65532  0  -2. The title and damaged lines are left out.
std::vector<SwapArea> parseSwaps(std::string_view text);

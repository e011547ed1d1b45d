#include "base/nearest.h"

#include <algorithm>
#include <array>

// The best way to turn the first i letters of `a` into the first j of `b`, row by row: `row` is i, `above` i - 1,
// `higher` i - 2.
size_t editDistance(std::string_view a, std::string_view b) {
    constexpr size_t Most = 64;
    const size_t beyond = a.size() > b.size() ? std::max(a.size(), Most) - std::max(b.size(), Most)
                                              : std::max(b.size(), Most) - std::max(a.size(), Most);
    a = a.substr(0, Most);
    b = b.substr(0, Most);
    std::array<size_t, Most + 1> higher{}, above{}, row{};
    for (size_t j = 0; j <= b.size(); j++) row[j] = j;
    for (size_t i = 1; i <= a.size(); i++) {
        higher = above;
        above = row;
        row[0] = i;
        for (size_t j = 1; j <= b.size(); j++) {
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], higher[j - 2] + 1);
        }
    }
    return row[b.size()] + beyond;
}

std::string_view nearest(std::string_view word, std::span<const std::string_view> known) {
    const auto best = std::min_element(known.begin(), known.end(), [&](std::string_view a, std::string_view b) {
        return editDistance(word, a) < editDistance(word, b);
    });
    return best == known.end() ? std::string_view{} : *best;
}

// Checks of what a parser returned.
#pragma once

#include <cstdlib>
#include <string_view>

inline void check(bool good) {
    if (!good) abort();
}

// Whether the text is empty or a piece of the report, as all results that are not computed must be.
inline bool isFrom(std::string_view report, std::string_view text) { return report.find(text) != report.npos; }

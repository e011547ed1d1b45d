// What must hold of what a parser made of its input.
#pragma once

#include <cstdlib>
#include <string_view>

inline void check(bool good) {
    if (!good) abort();
}

// Whether the text is a piece of the report, or empty: nothing comes from elsewhere.
inline bool isFrom(std::string_view report, std::string_view text) { return report.find(text) != report.npos; }

#include "wyrtlog/rate.h"

#include "wyrtlog/cells.h"

#include <charconv>
#include <cmath>

bool putRate(std::string_view cell, int64_t elapsed_us, char*& to) {
    const auto amount = realOf(cell);
    if (!amount) return false;
    if (elapsed_us <= 0) return true;
    const double rate = *amount * 1e6 / static_cast<double>(elapsed_us), size = std::fabs(rate);
    const bool fixed = size == 0 || (size >= 1e-6 && size < 1e15); // the others have an exponent
    to = std::to_chars(to, to + RateSize, rate, fixed ? std::chars_format::fixed : std::chars_format::scientific).ptr;
    return true;
}

bool appendNumber(std::string_view cell, std::string& out) {
    char digits[RateSize];
    const auto append = [&](auto number) {
        out.append(digits, std::to_chars(digits, digits + sizeof digits, *number).ptr);
        return true;
    };
    if (const auto whole = wholeOf(cell)) return append(whole);
    if (const auto negative = signedOf(cell)) return append(negative);
    if (const auto real = realOf(cell)) return append(real);
    return false;
}

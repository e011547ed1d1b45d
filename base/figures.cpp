#include "base/figures.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <limits>
#include <string_view>

std::string fixedText(double value, int decimals) {
    constexpr int Digits = std::numeric_limits<double>::max_exponent10 + 1; // of the largest, which a log can hold
    char text[Digits + 16];
    const int n = snprintf(text, sizeof text, "%.*f", decimals, value);
    const std::string_view shown(text, std::min(n < 0 ? 0 : static_cast<size_t>(n), sizeof text - 1));
    // -0.0 is 0.
    return std::string(shown.find_first_not_of("-0.") == shown.npos && shown.starts_with('-') ? shown.substr(1)
                                                                                              : shown);
}

// With a letter for the step, one decimal below `tens`.
static std::string stepped(double value, double step, double tens, int first) {
    constexpr const char* Letters[] = {"", "K", "M", "G", "T", "P", "E"};
    size_t letter = 0;
    const bool negative = value < 0;
    value = std::fabs(value);
    while (letter + 1 < std::size(Letters) && (letter == 0 ? std::round(value) >= first : value >= step - 0.5)) {
        value /= step, letter++;
        if (value < step - 0.5) break;
    }
    std::string text(negative ? "-" : "");
    return text.append(fixedText(value, value < tens - 0.05 && letter > 0 ? 1 : 0)).append(Letters[letter]);
}

std::string countText(double value) {
    if (value == 0) return "0";
    if (std::fabs(value) < 9.95) return std::floor(value) == value ? fixedText(value, 0) : fixedText(value, 1);
    return stepped(value, 1000, 100, 10000);
}

std::string sizeText(double bytes) { return stepped(bytes, 1024, 100, 1024); }

std::string bitsText(double bits) {
    auto text = stepped(bits, 1000, 10, 1000);
    if (const auto at = text.find(".0"); at != text.npos) text.erase(at, 2);
    return text;
}

std::string spanText(double seconds) {
    if (seconds < 99.5) return fixedText(seconds, 0) + "s";
    if (seconds < 99.5 * 60) return fixedText(seconds / 60, 0) + "m";
    if (seconds < 47.5 * 3600) return fixedText(seconds / 3600, 0) + "h";
    return fixedText(seconds / 86400, 0) + "d";
}

#include "base/duration.h"

#include <algorithm>

namespace {
struct Unit {
    std::string_view name;
    int64_t microseconds;
};
} // namespace

static constexpr int64_t Second = 1000000, Day = 86400 * Second;
static constexpr Unit Units[] = {
    {"d",  Day          },
    {"h",  3600 * Second},
    {"m",  60 * Second  },
    {"s",  Second       },
    {"ms", 1000         },
    {"us", 1            },
};

static bool isDigit(char c) { return c >= '0' && c <= '9'; }

static std::string_view takeDigits(std::string_view& text) {
    const auto end = std::find_if_not(text.begin(), text.end(), isDigit);
    const auto digits = text.substr(0, static_cast<size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    return digits;
}

std::optional<uint64_t> parseCount(std::string_view text) {
    constexpr size_t Most = 15; // digits
    if (text.empty() || !std::all_of(text.begin(), text.end(), isDigit)) return {};
    text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
    if (text.size() > Most) return {};
    uint64_t value = 0;
    for (const char c : text) value = value * 10 + static_cast<uint64_t>(c - '0');
    return value;
}

std::optional<uint64_t> parseSize(std::string_view text) {
    constexpr std::string_view Letters = "KMGT";
    constexpr uint64_t Most = 1000000000000000000;
    uint64_t unit = 1;
    const auto letter = text.empty() ? Letters.npos : Letters.find(text.back());
    if (letter != Letters.npos) {
        unit <<= 10 * (letter + 1);
        text.remove_suffix(1);
    }
    const auto count = parseCount(text);
    if (!count || *count > Most / unit) return {};
    return *count * unit;
}

std::optional<int64_t> parseDuration(std::string_view text) {
    const auto whole = takeDigits(text);
    std::string_view part;
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        part = takeDigits(text);
        if (part.empty()) return {};
    }
    const auto unit = std::find_if(std::begin(Units), std::end(Units),
                                   [&](const Unit& u) { return u.name == (text.empty() ? "s" : text); });
    const auto count = parseCount(whole);
    if (!count || unit == std::end(Units)) return {};
    constexpr int64_t Longest = 1000 * Day;
    const auto units = static_cast<int64_t>(*count);
    if (units > Longest / unit->microseconds) return {};
    int64_t result = units * unit->microseconds, digit = unit->microseconds;
    for (const char c : part) result += (c - '0') * (digit /= 10); // digits below a microsecond are dropped
    if (result == 0 && part.find_first_not_of('0') != part.npos) return {};
    return result > Longest ? std::nullopt : std::optional(result);
}

std::string durationText(int64_t microseconds) {
    for (const auto& unit : Units)
        if (microseconds && microseconds % unit.microseconds == 0)
            return std::to_string(microseconds / unit.microseconds) + std::string(unit.name);
    return "0s";
}

#include "base/words.h"

#include <limits>

// What isspace accepts in the C locale.
static bool isWhite(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

int64_t toLong(std::string_view s, size_t* end) {
    constexpr uint64_t Most = std::numeric_limits<int64_t>::max();
    if (end) *end = 0;
    size_t i = 0;
    while (i < s.size() && isWhite(s[i])) i++;
    bool negative = i < s.size() && s[i] == '-';
    if (i < s.size() && (s[i] == '-' || s[i] == '+')) i++;
    const uint64_t limit = Most + (negative ? 1 : 0);
    uint64_t value = 0;
    for (; i < s.size() && s[i] >= '0' && s[i] <= '9'; i++) {
        const auto digit = static_cast<uint64_t>(s[i] - '0');
        value = value > (limit - digit) / 10 ? limit : value * 10 + digit;
        if (end) *end = i + 1;
    }
    return static_cast<int64_t>(negative ? 0 - value : value);
}

int64_t numberAfter(std::string_view line, char separator) {
    const auto at = line.find(separator);
    return at == line.npos ? 0 : toLong(line.substr(at + 1));
}

int32_t toInt(std::string_view s) { return static_cast<int32_t>(toLong(s)); }

template <typename Int> static Int truncated(double v) {
    constexpr Int Lowest = std::numeric_limits<Int>::min();
    constexpr auto Limit = -static_cast<double>(Lowest); // 2^31 or 2^63, exactly
    return v > -Limit - 1.0 && v < Limit ? static_cast<Int>(v) : Lowest;
}

int32_t toInt(double v) { return truncated<int32_t>(v); }
int64_t toLong(double v) { return truncated<int64_t>(v); }

int splitFields(std::string_view line, std::span<std::string_view> fields) {
    size_t count = 0;
    for (size_t start = 0; count < fields.size();) {
        const auto end = line.find(' ', start);
        fields[count++] = line.substr(start, end == line.npos ? end : end - start);
        if (end == line.npos) break;
        start = end + 1;
    }
    return static_cast<int>(count);
}

int splitWords(std::string_view line, std::span<std::string_view> words, char also) {
    size_t count = 0;
    bool fresh = true;
    for (size_t i = 0; i < line.size() && count < words.size(); i++) {
        if (line[i] != ' ' && fresh) words[count++] = line.substr(i);
        fresh = line[i] == ' ' || line[i] == also;
    }
    return static_cast<int>(count);
}

size_t getCharacter(std::string_view s, unsigned& code) {
    const auto first = static_cast<unsigned char>(s[0]);
    code = first;
    const size_t length = first >= 0xF0 && first <= 0xF4 ? 4 : first >= 0xE0 ? 3 : first >= 0xC2 ? 2 : 1;
    if (length == 1 || first > 0xF4 || s.size() < length) return 1;
    unsigned value = first & (0xFFU >> (length + 1));
    for (size_t i = 1; i < length; i++) {
        const auto next = static_cast<unsigned char>(s[i]);
        if ((next & 0xC0U) != 0x80) return 1;
        value = value << 6 | (next & 0x3FU);
    }
    constexpr unsigned Least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (value < Least[length] || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return 1;
    code = value;
    return length;
}

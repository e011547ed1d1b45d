#include "base/when.h"

#include "base/duration.h"
#include "base/numbers.h"

#include <algorithm>
#include <array>
#include <string>

#include <ctime>

namespace {
// A local time as it was typed.
struct Clock {
    int hour = 0, minute = 0, second = 0, milli = 0;
};
struct Day {
    int year = 0, month = 0, day = 0;
};
} // namespace

// Takes so many digits off the text: a number up to `most`.
static bool takeDigits(std::string_view& text, size_t digits, int most, int& value) {
    if (text.size() < digits) return false;
    const auto part = text.substr(0, digits);
    if (part.find_first_not_of("0123456789") != part.npos || !toNumber(part, value) || value > most) return false;
    text.remove_prefix(digits);
    return true;
}

static bool take(std::string_view& text, char letter) {
    if (!text.starts_with(letter)) return false;
    text.remove_prefix(1);
    return true;
}

// ".5" is 500. At most three digits count.
static bool takeMilli(std::string_view& text, int& milli) {
    const auto digits = std::min(text.find_first_not_of("0123456789"), text.size());
    if (digits == 0) return false;
    std::string part(text.substr(0, std::min<size_t>(digits, 3)));
    part.resize(3, '0');
    text.remove_prefix(digits);
    return toNumber(std::string_view(part), milli);
}

static bool takeClock(std::string_view& text, Clock& clock) {
    const bool oneDigit = text.size() > 1 && text[1] == ':';
    if (!takeDigits(text, oneDigit ? 1 : 2, 23, clock.hour) || !take(text, ':')) return false;
    if (!takeDigits(text, 2, 59, clock.minute)) return false;
    if (!take(text, ':')) return true;
    if (!takeDigits(text, 2, 60, clock.second)) return false;
    return !take(text, '.') || takeMilli(text, clock.milli);
}

static bool takeDay(std::string_view& text, Day& day) {
    return takeDigits(text, 4, 9999, day.year) && take(text, '-') && takeDigits(text, 2, 12, day.month) &&
           take(text, '-') && takeDigits(text, 2, 31, day.day) && day.month > 0 && day.day > 0;
}

// "+01:00", "Z"
static bool takeOffset(std::string_view& text, int& seconds) {
    if (take(text, 'Z')) return seconds = 0, true;
    const bool west = text.starts_with('-');
    int hours = 0, minutes = 0;
    if (!take(text, west ? '-' : '+') || !takeDigits(text, 2, 23, hours) || !take(text, ':') ||
        !takeDigits(text, 2, 59, minutes))
        return false;
    seconds = (hours * 60 + minutes) * 60 * (west ? -1 : 1);
    return true;
}

static tm partsOf(const Day& day, const Clock& clock) {
    tm parts{};
    parts.tm_year = day.year - 1900, parts.tm_mon = day.month - 1, parts.tm_mday = day.day;
    parts.tm_hour = clock.hour, parts.tm_min = clock.minute, parts.tm_sec = clock.second;
    parts.tm_isdst = -1;
    return parts;
}

static int64_t localTime(const Day& day, const Clock& clock) {
    tm parts = partsOf(day, clock);
    return static_cast<int64_t>(mktime(&parts)) * 1000 + clock.milli;
}

// The day of a time, so many days later.
static Day dayOf(int64_t ms, int later = 0) {
    const auto seconds = static_cast<time_t>(ms / 1000);
    tm parts{};
    localtime_r(&seconds, &parts);
    parts.tm_mday += later, parts.tm_hour = 12, parts.tm_isdst = -1; // noon: no change of clocks
    mktime(&parts);
    return {parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday};
}

// --- The forms

static std::optional<int64_t> parseSeconds(std::string_view text) {
    int64_t seconds = 0;
    int milli = 0;
    const auto point = std::min(text.find('.'), text.size());
    constexpr int64_t Most = 1000000000000;
    if (point == 0 || text[0] == '+' || !toNumber(text.substr(0, point), seconds) || seconds < 0 || seconds > Most)
        return {};
    text.remove_prefix(point);
    if (!text.empty() && (!take(text, '.') || !takeMilli(text, milli) || !text.empty())) return {};
    return seconds * 1000 + milli;
}

// "10 min ago", "10m ago", "2 hours ago"
static std::optional<int64_t> parseAgo(std::string_view text, int64_t now_ms) {
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 12> Words{
        {{"sec", "s"},
         {"secs", "s"},
         {"second", "s"},
         {"seconds", "s"},
         {"min", "m"},
         {"mins", "m"},
         {"minute", "m"},
         {"minutes", "m"},
         {"hour", "h"},
         {"hours", "h"},
         {"day", "d"},
         {"days", "d"}}
    };
    std::string span(takeWord(text));
    const std::string_view word = takeWord(text);
    if (word != "ago") {
        const auto found = std::find_if(Words.begin(), Words.end(), [&](auto& w) { return w.first == word; });
        span += found == Words.end() ? word : found->second;
        if (takeWord(text) != "ago") return {};
    }
    if (!takeWord(text).empty() || span.starts_with('-')) return {};
    const auto us = parseDuration(span);
    return us ? std::optional(now_ms - *us / 1000) : std::nullopt;
}

// "today", "yesterday 14:05"
static std::optional<int64_t> parseDayWord(std::string_view text, int64_t now_ms) {
    const auto word = takeWord(text);
    const auto day = dayOf(now_ms, word == "yesterday" ? -1 : 0);
    auto rest = takeWord(text);
    Clock clock;
    if (!rest.empty() && (!takeClock(rest, clock) || !rest.empty())) return {};
    if (!takeWord(text).empty()) return {};
    return localTime(day, clock);
}

static std::optional<int64_t> parseDate(std::string_view text) {
    Day day;
    Clock clock;
    if (!takeDay(text, day)) return {};
    if (text.empty()) return localTime(day, clock);
    if (!take(text, 'T') && !take(text, ' ')) return {};
    if (!takeClock(text, clock)) return {};
    if (text.empty()) return localTime(day, clock);
    int offset = 0;
    if (!takeOffset(text, offset) || !text.empty()) return {};
    tm parts = partsOf(day, clock);
    return (static_cast<int64_t>(timegm(&parts)) - offset) * 1000 + clock.milli;
}

std::optional<int64_t> parseWhen(std::string_view text, int64_t now_ms) {
    if (text == "now") return now_ms;
    if (text.starts_with('@')) return parseSeconds(text.substr(1));
    if (text.starts_with('-')) {
        const auto us = parseDuration(text.substr(1));
        return us ? std::optional(now_ms - *us / 1000) : std::nullopt;
    }
    if (text.starts_with("today") || text.starts_with("yesterday")) {
        auto rest = text;
        const auto word = takeWord(rest);
        if (word == "today" || word == "yesterday") return parseDayWord(text, now_ms);
    }
    if (text.ends_with("ago")) return parseAgo(text, now_ms);
    Clock clock;
    auto rest = text;
    if (takeClock(rest, clock) && rest.empty()) {
        const auto today = localTime(dayOf(now_ms), clock);
        return today <= now_ms ? today : localTime(dayOf(now_ms, -1), clock);
    }
    return parseDate(text);
}

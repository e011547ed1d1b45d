// A point in time, as in the log: 2026-11-21T14:05:10.000+01:00.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct Moment {
    int64_t epoch_ms = 0;   // since 1970-01-01 UTC
    int16_t offset_min = 0; // of the local time, east of UTC
    friend bool operator==(const Moment&, const Moment&) = default;
};

// The parts of a moment in its own local time.
struct LocalTime {
    int64_t year = 1970;
    int month = 1, day = 1, hour = 0, minute = 0, second = 0, milli = 0;
};
LocalTime localTime(Moment moment);

void appendMoment(std::string& text, Moment moment);
// "+01:00"
void appendOffset(std::string& text, int offset_min);
// None when the text does not have exactly this form.
std::optional<Moment> parseMoment(std::string_view text);

// Microseconds as seconds with six decimals: 2000137 is "2.000137".
void appendSeconds(std::string& text, int64_t microseconds);
std::optional<int64_t> parseSeconds(std::string_view text);

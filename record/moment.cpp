#include "record/moment.h"

#include <charconv>

static constexpr int64_t DayMs = 86400000;

// Days since 1970-01-01 of a date of the Gregorian calendar, and back. The year begins in March here, so that the leap
// day is its last; 719468 days lie between 0000-03-01 and 1970-01-01.
static int64_t daysOf(int64_t year, int month, int day) {
    year -= month <= 2;
    const int64_t era = (year >= 0 ? year : year - 399) / 400;
    const int64_t yearOfEra = year - era * 400;
    const int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

static void dateOf(int64_t days, LocalTime& date) {
    days += 719468;
    const int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const int64_t dayOfEra = days - era * 146097;
    const int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int64_t month = (5 * dayOfYear + 2) / 153;
    date.day = static_cast<int>(dayOfYear - (153 * month + 2) / 5 + 1);
    date.month = static_cast<int>(month < 10 ? month + 3 : month - 9);
    date.year = yearOfEra + era * 400 + (date.month <= 2);
}

LocalTime localTime(Moment moment) {
    const int64_t local = moment.epoch_ms + moment.offset_min * int64_t{60000};
    int64_t days = local / DayMs, rest = local % DayMs;
    if (rest < 0) rest += DayMs, days--;
    LocalTime result;
    dateOf(days, result);
    result.milli = static_cast<int>(rest % 1000), rest /= 1000;
    result.second = static_cast<int>(rest % 60), rest /= 60;
    result.minute = static_cast<int>(rest % 60);
    result.hour = static_cast<int>(rest / 60);
    return result;
}

static void appendPadded(std::string& text, int64_t value, int width) {
    char digits[20];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    for (auto n = end - digits; n < width; n++) text += '0';
    text.append(digits, end);
}

void appendOffset(std::string& text, int offset_min) {
    text += offset_min < 0 ? '-' : '+';
    const int minutes = offset_min < 0 ? -offset_min : offset_min;
    appendPadded(text, minutes / 60, 2), text += ':', appendPadded(text, minutes % 60, 2);
}

void appendMoment(std::string& text, Moment moment) {
    const auto t = localTime(moment);
    appendPadded(text, t.year, 4), text += '-';
    appendPadded(text, t.month, 2), text += '-', appendPadded(text, t.day, 2), text += 'T';
    appendPadded(text, t.hour, 2), text += ':', appendPadded(text, t.minute, 2), text += ':';
    appendPadded(text, t.second, 2), text += '.', appendPadded(text, t.milli, 3);
    appendOffset(text, moment.offset_min);
}

// Exactly `width` digits from position `at` on; -1: not digits.
static int digitsAt(std::string_view text, size_t at, size_t width) {
    int value = 0;
    for (size_t i = at; i < at + width; i++) {
        if (text[i] < '0' || text[i] > '9') return -1;
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

std::optional<Moment> parseMoment(std::string_view text) {
    constexpr std::string_view Form = "0000-00-00T00:00:00.000+00:00";
    if (text.size() != Form.size()) return {};
    for (size_t i = 0; i < Form.size(); i++) {
        const bool fits = Form[i] == '0'   ? text[i] >= '0' && text[i] <= '9'
                          : Form[i] == '+' ? text[i] == '+' || text[i] == '-'
                                           : text[i] == Form[i];
        if (!fits) return {};
    }
    const int month = digitsAt(text, 5, 2), day = digitsAt(text, 8, 2), hour = digitsAt(text, 11, 2);
    const int minute = digitsAt(text, 14, 2), second = digitsAt(text, 17, 2);
    const int zoneHours = digitsAt(text, 24, 2), zoneMinutes = digitsAt(text, 27, 2);
    if (month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 || second > 59 || zoneMinutes > 59)
        return {};
    const int offset = (zoneHours * 60 + zoneMinutes) * (text[23] == '-' ? -1 : 1);
    const int64_t seconds =
        daysOf(digitsAt(text, 0, 4), month, day) * 86400 + hour * int64_t{3600} + minute * int64_t{60} + second;
    return Moment{(seconds - offset * int64_t{60}) * 1000 + digitsAt(text, 20, 3), static_cast<int16_t>(offset)};
}

void appendSeconds(std::string& text, int64_t microseconds) {
    if (microseconds < 0) text += '-';
    const auto all = microseconds < 0 ? 0 - static_cast<uint64_t>(microseconds) : static_cast<uint64_t>(microseconds);
    appendPadded(text, static_cast<int64_t>(all / 1000000), 1);
    text += '.';
    appendPadded(text, static_cast<int64_t>(all % 1000000), 6);
}

std::optional<int64_t> parseSeconds(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative) text.remove_prefix(1);
    const auto point = text.find('.');
    if (point == text.npos || point == 0 || point > 12 || text.size() != point + 7) return {};
    int64_t whole = 0, part = 0;
    if (std::from_chars(text.data(), text.data() + point, whole).ptr != text.data() + point || whole < 0) return {};
    if ((part = digitsAt(text, point + 1, 6)) < 0) return {};
    return (whole * 1000000 + part) * (negative ? -1 : 1);
}

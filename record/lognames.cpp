#include "record/lognames.h"

#include "record/moment.h"

#include <algorithm>
#include <cstdio>

static constexpr std::string_view LogEnd = ".wyrt";

static bool isDigit(char c) { return c >= '0' && c <= '9'; }

static bool isUsual(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' || c == '_' || c == '-';
}

std::string logName(std::string_view host, int64_t epoch_ms, int copy) {
    constexpr size_t Longest = 64; // the kernel's limit for the name of a host
    std::string name(host.substr(0, Longest));
    std::replace_if(name.begin(), name.end(), [](char c) { return !isUsual(c); }, '_');
    if (name.empty() || name.front() == '.') name.insert(0, "host");
    const auto utc = localTime({epoch_ms, 0});
    char time[64];
    snprintf(time,
             sizeof time,
             "-%04lld%02d%02dT%02d%02d%02dZ",
             static_cast<long long>(utc.year),
             utc.month,
             utc.day,
             utc.hour,
             utc.minute,
             utc.second);
    name += time;
    if (copy > 1) name.append("_").append(std::to_string(copy));
    return name.append(LogEnd);
}

// "20261121T130000Z"
static std::optional<int64_t> stampTime(std::string_view stamp) {
    constexpr std::string_view Form = "00000000T000000Z";
    if (stamp.size() != Form.size()) return {};
    for (size_t i = 0; i < Form.size(); i++)
        if (Form[i] == '0' ? !isDigit(stamp[i]) : stamp[i] != Form[i]) return {};
    std::string text;
    const auto add = [&](size_t at, size_t size, const char* after) {
        text.append(stamp.substr(at, size)).append(after);
    };
    add(0, 4, "-"), add(4, 2, "-"), add(6, 2, "T"), add(9, 2, ":"), add(11, 2, ":"), add(13, 2, ".000+00:00");
    const auto moment = parseMoment(text);
    return moment ? std::optional(moment->epoch_ms) : std::nullopt;
}

std::optional<int64_t> logNameTime(std::string_view name) {
    const auto end = name.rfind(LogEnd); // a host may have it in its name, too
    if (end == name.npos) return {};
    auto before = name.substr(0, end);
    const auto after = name.substr(end + LogEnd.size());
    if (!after.empty() && after.front() != '.' && after != UnfinishedEnd) return {};
    if (const auto copy = before.rfind("Z_");
        copy != before.npos && copy + 2 < before.size() &&
        std::all_of(before.begin() + static_cast<std::ptrdiff_t>(copy + 2), before.end(), isDigit))
        before = before.substr(0, copy + 1);
    const auto dash = before.rfind('-');
    if (dash == before.npos || dash == 0) return {};
    return stampTime(before.substr(dash + 1));
}

bool isPlainLog(std::string_view name) { return name.ends_with(LogEnd) && logNameTime(name); }

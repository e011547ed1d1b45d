#include "wyrtlog/intervals.h"

#include "base/clock.h"
#include "base/door.h"
#include "base/refusal.h"
#include "base/when.h"

static std::string takeTime(const std::string& typed, int64_t now_ms, int64_t& to) {
    const auto time = parseWhen(typed, now_ms);
    if (!time) return inQuotes(typed) + " is no time like 14:05, '2026-11-21 14:05', -10m, yesterday or @1795266641";
    to = *time;
    return {};
}

std::string takeBounds(const Asked& asked, Bounds& bounds) {
    const int64_t now_ms = getRealtime();
    for (auto& [typed, to] : {std::pair(&asked.since, &bounds.since_ms), std::pair(&asked.until, &bounds.until_ms)})
        if (!typed->empty())
            if (auto wrong = takeTime(*typed, now_ms, *to); !wrong.empty()) return wrong;
    if (asked.at.empty()) return {};
    if (!asked.since.empty() || !asked.until.empty() || !asked.every.empty() || asked.follow)
        return "--at goes with none of --since, --until, --every and --follow";
    auto wrong = takeTime(asked.at, now_ms, bounds.since_ms);
    bounds.since_ms--; // the interval that ends at this very moment is that of the moment
    return wrong;
}

int Intervals::each(const Asked& asked, const Bounds& bounds, const OnInterval& onInterval, Want want,
                    Watcher* watcher) {
    const LogReader* last = nullptr; // logs that overlap take turns
    bool changed = true;
    const auto onFound = [&](const LogReader& reader, LogReader::Found found, Interval& interval) {
        if (found == LogReader::Found::Head) changed = true;
        if (found == LogReader::Found::Torn) left++;
        if (found != LogReader::Found::Interval) return true;
        if ((interval.damaged || reader.headDamaged()) && !asked.damaged) return left++, true;
        if (!bounds.has(interval.time)) return true;
        const bool isOther = changed || &reader != last;
        last = &reader, changed = false;
        count++;
        return onInterval(reader, isOther, interval);
    };
    return eachFound(asked, onFound, {want, bounds, asked.follow, Check::Sums, watcher});
}

void Intervals::reportLeftOut() const {
    if (left == 0) return;
    putErr("wyrt: " + std::to_string(left) + (left == 1 ? " interval is" : " intervals are") +
           " damaged or cut short and left out (--damaged takes what can be read)\n");
}

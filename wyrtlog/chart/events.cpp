#include "wyrtlog/chart/events.h"

#include <algorithm>

// Bounds what a long or forged log can take: stretches of each finding, marks.
static constexpr size_t MostStretches = 400, MostMarks = 1000;

// Joins those stretches that have little between them: half of all.
static void joinNearest(std::vector<Stretch>& stretches) {
    std::vector<int64_t> between;
    for (size_t i = 1; i < stretches.size(); i++) between.push_back(stretches[i].from_ms - stretches[i - 1].to_ms);
    const auto middle = between.begin() + static_cast<std::ptrdiff_t>(between.size() / 2);
    std::nth_element(between.begin(), middle, between.end());
    const int64_t little = *middle;
    size_t to = 0;
    for (size_t i = 1; i < stretches.size(); i++) {
        if (stretches[i].from_ms - stretches[to].to_ms <= little) stretches[to].to_ms = stretches[i].to_ms;
        else stretches[++to] = stretches[i];
    }
    stretches.resize(to + 1);
}

static void addStretch(std::vector<Stretch>& stretches, Stretch stretch) {
    // One interval between two is no end.
    const int64_t length = stretch.to_ms - stretch.from_ms;
    if (!stretches.empty() && stretch.from_ms - stretches.back().to_ms <= length + length / 2)
        return void(stretches.back().to_ms = stretch.to_ms);
    stretches.push_back(stretch);
    if (stretches.size() > MostStretches) joinNearest(stretches);
}

void Events::add(const Interval& interval, int64_t time_ms, const std::string& itsBoot, const std::string& itsRun,
                 const std::function<std::string()>& tables) {
    constexpr int64_t GapMs = 1000; // what two clocks may differ by
    const int64_t from = std::max(time_ms - interval.elapsed_us / 1000, last_ms);
    if (count++ == 0) {
        from_ms = time_ms - interval.elapsed_us / 1000;
    } else {
        if (marksFound.size() < MostMarks && itsRun != run)
            marksFound.push_back({from, itsBoot != boot ? "the machine was started" : "wyrt was started"});
        if (marksFound.size() < MostMarks && time_ms > interval.time.epoch_ms && !behind)
            marksFound.push_back({from, "the clock was set back"});
        if (from - last_ms > GapMs && gapsFound.size() < MostMarks) gapsFound.push_back({last_ms, from});
    }
    behind = time_ms > interval.time.epoch_ms;
    boot = itsBoot, run = itsRun;
    last_ms = time_ms;
    const auto leftBefore = span.leftOut();
    span.add(interval);
    if (span.leftOut() > leftBefore)
        std::erase_if(entries, [&](auto& entry) { return !span.has(entry.first.first, entry.first.second); });
    std::shared_ptr<const std::string> text;
    for (auto& why : interval.why.rows) {
        if (!span.has(why.resource, why.object)) continue;
        auto& entry = entries[{why.resource, why.object}];
        if (entry.stretches.empty() || why.severity > entry.severity) {
            if (!text) text = std::make_shared<const std::string>(tables());
            entry.severity = why.severity, entry.worst_ms = time_ms, entry.tables = text;
        }
        addStretch(entry.stretches, {from, time_ms});
    }
}

std::vector<Incident> Events::findings(Interval& interval) const {
    span.result(interval);
    std::vector<Incident> all;
    for (auto& why : interval.why.rows) {
        const auto entry = entries.find({why.resource, why.object});
        if (entry == entries.end()) continue;
        all.push_back({why, entry->second.stretches, entry->second.worst_ms, entry->second.tables});
    }
    return all;
}

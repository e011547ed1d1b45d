#include "wyrtlog/chart/charts.h"

#include <algorithm>

void Charts::add(const Interval& interval, int64_t time_ms) {
    machine.add(interval, time_ms, lines);
    devices.add(interval, lines);
    consumers.add(interval, time_ms);
    lines.end(time_ms);
}

static size_t valuesOf(const std::vector<Picture>& pictures) {
    size_t count = 0;
    for (auto& picture : pictures)
        for (auto& series : picture.series) count += series.values.size();
    return count;
}

std::vector<Picture> Charts::pictures(size_t mostValues) {
    constexpr size_t FewestBuckets = 256; // less would be too coarse to look at
    for (;;) {
        std::vector<Picture> all;
        machine.give(lines, all);
        devices.give(lines, all);
        consumers.give(all);
        std::stable_sort(all.begin(), all.end(), [](auto& a, auto& b) { return a.section < b.section; });
        if (valuesOf(all) <= mostValues || lines.times().size() < 2 * FewestBuckets) return all;
        lines.halve();
        machine.halve();
        consumers.halve();
    }
}

std::vector<int64_t> Charts::times() const { return pointTimes(lines); }

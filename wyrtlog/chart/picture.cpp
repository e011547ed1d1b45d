#include "wyrtlog/chart/picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

static constexpr std::array<std::pair<std::string_view, std::string_view>, 8> Sections = {
    {
     {"cpu", "CPU"},
     {"memory", "Memory"},
     {"disks", "Disks"},
     {"filesystems", "Filesystems"},
     {"network", "Network"},
     {"processes", "Processes"},
     {"groups", "Units and containers"},
     {"self", "Cost of wyrt itself"},
     }
};

std::string_view wordOf(Section section) { return Sections[static_cast<size_t>(section)].first; }
std::string_view titleOf(Section section) { return Sections[static_cast<size_t>(section)].second; }

static bool isSingle(const Lines::Bucket& bucket) { return bucket.first_ms == bucket.last_ms; }

std::vector<int64_t> pointTimes(const Lines& lines) {
    std::vector<int64_t> times;
    for (auto& bucket : lines.times()) {
        times.push_back(bucket.first_ms);
        if (!isSingle(bucket)) times.push_back(bucket.last_ms);
    }
    return times;
}

std::vector<float> pointsOf(const Lines& lines, size_t line) {
    std::vector<float> points;
    for (size_t i = 0; i < lines.times().size(); i++) {
        points.push_back(lines[line].buckets[i].first);
        if (!isSingle(lines.times()[i])) points.push_back(lines[line].buckets[i].second);
    }
    return points;
}

// Calls f(moment) for each moment once.
template <typename F> static void eachMoment(const std::vector<Stack::Bucket>& buckets, const F& f) {
    for (auto& bucket : buckets) {
        f(bucket[0]);
        if (bucket[1].time_ms != bucket[0].time_ms) f(bucket[1]);
    }
}

std::vector<int64_t> pointTimes(const std::vector<Stack::Bucket>& buckets) {
    std::vector<int64_t> times;
    eachMoment(buckets, [&](auto& moment) { times.push_back(moment.time_ms); });
    return times;
}

std::vector<float> pointsOf(const std::vector<Stack::Bucket>& buckets, uint32_t member) {
    std::vector<float> points;
    eachMoment(buckets, [&](auto& moment) {
        const auto part =
            std::find_if(moment.parts.begin(), moment.parts.end(), [&](auto& p) { return p.member == member; });
        points.push_back(part == moment.parts.end() ? 0 : part->value);
    });
    return points;
}

void addLine(const Lines& lines, size_t line, std::string name, Picture& picture) {
    if (line >= lines.size() || (lines[line].absent == Absent::Zero && !lines[line].moved)) return;
    auto points = pointsOf(lines, line);
    if (std::all_of(points.begin(), points.end(), [](float value) { return std::isnan(value); })) return;
    picture.series.push_back({std::move(name), std::move(points)});
}

void addPicture(Picture&& picture, std::vector<Picture>& all) {
    if (!picture.series.empty()) all.push_back(std::move(picture));
}

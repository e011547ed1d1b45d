#include "wyrtlog/chart/thin.h"

#include <algorithm>
#include <cmath>
#include <utility>

Extremes joined(Extremes a, Extremes b) {
    const std::array<float, 4> values{a.first, a.second, b.first, b.second};
    size_t least = values.size(), largest = values.size();
    for (size_t i = 0; i < values.size(); i++) {
        if (std::isnan(values[i])) continue;
        if (least == values.size() || values[i] < values[least]) least = i;
        if (largest == values.size() || values[i] > values[largest]) largest = i;
    }
    if (least == values.size()) return {};
    return {values[std::min(least, largest)], values[std::max(least, largest)]};
}

// --- Lines

size_t Lines::add(Absent absent) {
    auto& line = all.emplace_back();
    line.absent = absent;
    line.buckets.resize(buckets.size());
    forget(all.size() - 1);
    if (!hasRoomFor(buckets.size())) halve();
    return all.size() - 1;
}

void Lines::set(size_t line, double value) {
    all[line].now = static_cast<float>(value);
    if (value != 0) all[line].moved = true;
}

void Lines::forget(size_t line) {
    auto& one = all[line];
    one.now = NoFigure, one.moved = false;
    one.last = one.absent == Absent::Zero ? 0 : NoFigure;
    std::fill(one.buckets.begin(), one.buckets.end(), Extremes{one.last, one.last});
}

void Lines::end(int64_t time_ms) {
    const bool begins = buckets.empty() || inLast == each;
    if (begins && !hasRoomFor(buckets.size() + 1)) halve();
    const bool joins = !buckets.empty() && inLast < each;
    if (joins) buckets.back().last_ms = time_ms, inLast++;
    else buckets.push_back({time_ms, time_ms}), inLast = 1;
    for (auto& line : all) {
        float value = std::exchange(line.now, NoFigure);
        if (std::isnan(value)) value = line.absent == Absent::Unknown ? NoFigure : line.last;
        else if (line.absent == Absent::Last) line.last = value;
        if (joins) line.buckets.back() = joined(line.buckets.back(), {value, value});
        else line.buckets.push_back({value, value});
    }
}

void Lines::halve() {
    const size_t count = buckets.size();
    for (size_t i = 0; i < count; i += 2) {
        const size_t other = std::min(i + 1, count - 1);
        buckets[i / 2] = {buckets[i].first_ms, buckets[other].last_ms};
        for (auto& line : all)
            line.buckets[i / 2] = other == i ? line.buckets[i] : joined(line.buckets[i], line.buckets[other]);
    }
    buckets.resize((count + 1) / 2);
    for (auto& line : all) line.buckets.resize(buckets.size()), line.buckets.shrink_to_fit();
    inLast += count % 2 == 0 ? each : 0;
    each *= 2;
}

// --- Stacks

// The moments of two buckets as those of one.
static Stack::Bucket joinedMoments(Stack::Bucket&& a, Stack::Bucket&& b) {
    std::array<Stack::Moment*, 4> moments{&a[0], &a[1], &b[0], &b[1]};
    size_t least = 0, largest = 0;
    for (size_t i = 1; i < moments.size(); i++) {
        if (moments[i]->whole < moments[least]->whole) least = i;
        if (moments[i]->whole > moments[largest]->whole) largest = i;
    }
    // Of equal wholes, two moments are more than one.
    if (least == largest) largest = moments.size() - 1;
    auto& first = *moments[std::min(least, largest)];
    auto& second = *moments[std::max(least, largest)];
    return {std::move(first), std::move(second)};
}

void Stack::add(Moment moment) {
    const bool begins = buckets.empty() || inLast == each;
    if (begins && buckets.size() >= most) halve();
    if (buckets.empty() || inLast == each) {
        buckets.push_back({moment, moment});
        inLast = 1;
        return;
    }
    buckets.back() = joinedMoments(std::move(buckets.back()), {moment, moment});
    inLast++;
}

void Stack::halve() {
    const size_t count = buckets.size();
    for (size_t i = 0; i < count; i += 2) {
        if (i + 1 < count) buckets[i / 2] = joinedMoments(std::move(buckets[i]), std::move(buckets[i + 1]));
        else if (i > 0) buckets[i / 2] = std::move(buckets[i]);
    }
    buckets.resize((count + 1) / 2);
    inLast += count % 2 == 0 ? each : 0;
    each *= 2;
}

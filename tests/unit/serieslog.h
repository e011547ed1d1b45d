// Logs of processes, disks and findings, what gives them to a format of series, and a format that keeps all points.
#pragma once

#include "record/log.h"
#include "tests/madelog.h"
#include "wyrtlog/series.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

// `most`: only so many intervals.
inline void give(std::string log, SeriesFormat& format, size_t most = SIZE_MAX) {
    LogReader reader(partsOf(log));
    reader.leaveOutRows();
    Sheets sheets;
    Cells cells;
    Interval interval;
    for (;;) {
        const auto found = reader.next(interval);
        if (found == LogReader::Found::End || found == LogReader::Found::Torn) return;
        if (found == LogReader::Found::Head) {
            ASSERT_EQ(sheets.takeHead(reader), "");
            ASSERT_TRUE(format.head(reader.head(), sheets));
            continue;
        }
        if (most-- == 0) return;
        if (!format.begin(interval)) continue;
        const bool good = eachLine(reader.text(), sheets, cells, [&](auto& sheet, auto& all, std::string_view line) {
            return format.line(sheet, all, line);
        });
        ASSERT_TRUE(format.end(good));
    }
}

class SeriesLog {
    LogWriter writer;
    uint64_t number = 0;

public:
    std::string text;
    Interval interval;

    explicit SeriesLog(const std::string& host = "db7", const std::string& run = "run") {
        writer.head({"1.2.0", host, "boot", run}, {}, {Start, 0}, text);
    }
    ProcRow& process(const std::string& name, uint64_t cpu_us) {
        auto& row = interval.processes.rows.emplace_back();
        row.name = name, row.pid = interval.processes.rows.size(), row.cpu_us = cpu_us;
        return row;
    }
    DiskRow& disk(const std::string& name, uint64_t reads) {
        auto& row = interval.disks.rows.emplace_back();
        row.name = name, row.device = "8:0", row.reads = reads;
        return row;
    }
    WhyRow& finding(const std::string& object, double value) {
        auto& why = interval.why.rows.emplace_back();
        why.rank = 1, why.resource = "DISK", why.object = object, why.rule = "disk.wait", why.value = value;
        why.limit = 20;
        return why;
    }
    void culprit(const std::string& name, uint64_t share) {
        auto& who = interval.who.rows.emplace_back();
        who.rank = 1, who.resource = "DISK", who.object = "sda", who.place = share, who.share = share;
        who.name = name, who.user = "root", who.pid = share, who.mark = '~', who.amount = 77;
    }
    void end(int64_t each_ms = 10000) {
        interval.number = ++number;
        interval.time = {Start + static_cast<int64_t>(number) * each_ms, 0};
        interval.elapsed_us = each_ms * 1000;
        const auto sample = [&](auto& rows) { rows.sampled = true, rows.elapsed_us = each_ms * 1000; };
        sample(interval.processes), sample(interval.disks), sample(interval.links);
        sample(interval.why), sample(interval.who);
        writer.interval(interval, text);
        clearRows(interval);
    }
};

// Keeps the last value of each series.
class Kept : public SeriesFormat {
public:
    std::map<std::string, double> values; // "process{host=db7,command=c1} cpu_seconds"
    std::vector<std::string> points;      // the same with the value and the time, each one

    explicit Kept(SeriesChoice choice = {}) : SeriesFormat("kept", std::move(choice)) {}
    bool finish() override { return true; }
    std::string failure() const override { return {}; }

protected:
    void addLabel(std::string& labels, std::string_view name, std::string_view value) const override {
        labels.append(labels.empty() ? "" : ",").append(name).append("=").append(value);
    }
    bool point(const Group& group, Thing& thing, int64_t at_ms, const std::vector<char>& which) override {
        for (size_t i = 0; i < which.size(); i++) {
            if (!which[i]) continue;
            const auto& metric = group.metrics[i];
            const auto name =
                std::string(group.kind->prefix) + "{" + thing.labels + "} " + metric.name.substr(metric.ownName);
            const double value = !metric.counter ? thing.levels[i]
                                 : metric.micro  ? static_cast<double>(thing.totals[i]) / 1e6
                                                 : static_cast<double>(thing.totals[i]);
            values[name] = value;
            points.push_back(name + " " + std::to_string(value) + " " + std::to_string(at_ms));
        }
        return true;
    }
};

// How many points there are of the series whose names begin so.
inline size_t pointsOf(const Kept& kept, const std::string& name) {
    size_t count = 0;
    for (auto& point : kept.points) count += point.starts_with(name);
    return count;
}

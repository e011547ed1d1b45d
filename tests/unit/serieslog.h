// Logs of processes, disks and findings, and what gives them to a format of series.
#pragma once

#include "record/log.h"
#include "wyrtlog/series.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

inline constexpr int64_t SeriesStart = 1795266310000; // milliseconds

// `most`: only so many intervals.
inline void give(std::string log, SeriesFormat& format, size_t most = SIZE_MAX) {
    LogReader reader([&](char* to, size_t size) {
        const auto part = log.substr(0, size);
        memcpy(to, part.data(), part.size());
        log.erase(0, part.size());
        return part.size();
    });
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
        writer.head({"1.2.0", host, "boot", run}, {}, {SeriesStart, 0}, text);
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
        interval.time = {SeriesStart + static_cast<int64_t>(number) * each_ms, 0};
        interval.elapsed_us = each_ms * 1000;
        const auto sample = [&](auto& rows) { rows.sampled = true, rows.elapsed_us = each_ms * 1000; };
        sample(interval.processes), sample(interval.disks), sample(interval.links);
        sample(interval.why), sample(interval.who);
        writer.interval(interval, text);
        clearRows(interval);
    }
};

// A first interval of a machine with more processes than readers take.
#include "record/fitting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace {
// What has to stay: one process.
struct NamedOne {
    explicit NamedOne(const Interval&) {}
    template <typename Row> bool has(const Row&) const { return false; }
    bool has(const ProcRow& row) const { return row.pid == 777; }
};
} // namespace

static Interval machineOf(size_t processes) {
    Interval interval;
    interval.time = {1795266310000, 60};
    interval.elapsed_us = 2000000, interval.number = 1, interval.complete = true;
    interval.processes.sampled = true, interval.processes.elapsed_us = 2000000;
    interval.processes.rows.resize(processes);
    uint64_t pid = 0;
    for (auto& row : interval.processes.rows) {
        row.pid = ++pid, row.start = 100 + pid, row.name = "worker", row.state = 'S';
        row.command = "/usr/bin/worker --queue mail --number " + std::to_string(pid) + std::string(200, 'x');
        row.cpu_us = pid % 1000 == 0 ? pid : 0, row.read_bytes = 4096, row.rss = pid << 10;
    }
    return interval;
}

static LogReader::Found readBack(const std::string& log, Interval& to) {
    size_t at = 0;
    LogReader reader([&](char* buffer, size_t size) {
        const size_t n = std::min(size, log.size() - at);
        memcpy(buffer, log.data() + at, n);
        at += n;
        return n;
    });
    if (reader.next(to) != LogReader::Found::Head) return LogReader::Found::Head;
    return reader.next(to);
}

TEST(Fitting, LargeFirstIntervals) {
    for (const size_t processes : {size_t{1000}, size_t{100000}}) {
        Interval interval = machineOf(processes), read;
        std::string log;
        LogWriter writer;
        writer.head({"1.2.0", "db7", "boot", "run"}, {}, interval.time, log);
        const size_t head = log.size();
        BudgetSpace space;
        appendFitting<NamedOne>(writer, interval, space, log);
        EXPECT_LE(log.size() - head, LogFrames::MostBytes);
        EXPECT_TRUE(readersTake(interval, log.size() - head));
        ASSERT_EQ(readBack(log, read), LogReader::Found::Interval);
        EXPECT_FALSE(read.damaged);
        // What the tables are made of is what the log has.
        auto& rows = read.processes.rows;
        EXPECT_EQ(rows.size(), interval.processes.rows.size());
        EXPECT_EQ(read.processes.rest.has_value(), processes > 1000);
        if (processes == 1000) EXPECT_EQ(rows.size(), processes);
        else EXPECT_GT(rows.size(), size_t{8000}); // no more are left out than need be
        uint64_t cpu = read.processes.rest ? *read.processes.rest->cpu_us : 0, expected = 0;
        uint64_t bytes = read.processes.rest ? *read.processes.rest->read_bytes : 0;
        for (auto& row : rows) cpu += row.cpu_us.value_or(0), bytes += row.read_bytes.value_or(0);
        for (uint64_t pid = 1000; pid <= processes; pid += 1000) expected += pid;
        EXPECT_EQ(cpu, expected);
        EXPECT_EQ(bytes, processes * 4096);
        const auto has = [&](uint64_t pid) {
            return std::any_of(rows.begin(), rows.end(), [&](auto& row) { return row.pid == pid; });
        };
        EXPECT_TRUE(has(777) && has(processes) && has(1000)); // named; the largest; one that ran
    }
}

// Without the bound it would be damaged.
TEST(Fitting, WhatReadersTake) {
    Interval interval = machineOf(60000), read;
    std::string log;
    LogWriter writer;
    writer.head({"1.2.0", "db7", "boot", "run"}, {}, interval.time, log);
    const size_t head = log.size();
    writer.interval(interval, log);
    EXPECT_FALSE(readersTake(interval, log.size() - head));
    EXPECT_FALSE(readersTake(interval, 0)); // the rows alone take more than the reader's share
    EXPECT_EQ(readBack(log, read), LogReader::Found::Interval);
    EXPECT_TRUE(read.damaged);
}

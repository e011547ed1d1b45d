// Intervals that are added up.
#include "record/sum.h"

#include "record/budget.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

// A machine in one interval: processes come and go, some are in the sum of the others; disks are idle at times.
static Interval machineAt(std::mt19937_64& random, uint64_t number) {
    Interval interval;
    interval.time = {1795266310000 + static_cast<int64_t>(number) * 1000, 60};
    interval.elapsed_us = 1000000 + static_cast<int64_t>(random() % 1000), interval.number = number;
    auto& cpu = interval.cpu.rows.emplace_back();
    if (random() % 4) cpu.user_us = random() % 1000000;
    cpu.load1 = static_cast<double>(number);
    interval.cpu.sampled = true, interval.cpu.elapsed_us = interval.elapsed_us - 5;
    for (uint64_t pid = 1; pid < 40; pid++) {
        if (random() % 3 == 0) continue;
        auto& row = interval.processes.rows.emplace_back();
        row.pid = pid, row.start = pid * 10 + (number > 20 && pid % 7 == 0); // another process with this pid
        row.name = "p" + std::to_string(pid), row.cpu_us = random() % 1000;
        row.growth = static_cast<int64_t>(random() % 2000) - 1000;
        if (random() % 2) row.read_bytes = random() % 100;
        row.rss = number;
    }
    std::shuffle(interval.processes.rows.begin(), interval.processes.rows.end(), random);
    if (random() % 2) interval.processes.rest.emplace().cpu_us = random() % 500;
    interval.processes.sampled = true, interval.processes.elapsed_us = interval.elapsed_us + 3;
    if (random() % 3 == 0) {
        auto& disk = interval.disks.rows.emplace_back();
        disk.name = random() % 2 ? "a,b" : "a", disk.device = "8:0", disk.writes = random() % 9;
        interval.disks.sampled = true, interval.disks.elapsed_us = interval.elapsed_us;
    }
    auto& finding = interval.why.rows.emplace_back();
    finding.resource = "CPU", interval.why.sampled = true;
    return interval;
}

// Rows in the order of their cells, with the kind's time.
static std::vector<std::string> textOf(const Interval& interval) {
    std::vector<std::string> text{std::to_string(interval.time.epoch_ms) + " " + std::to_string(interval.elapsed_us)};
    eachKind(interval, [&](const auto& kind, const auto& rows) {
        std::vector<std::string> lines;
        for (auto& row : rows.rows) appendCells(lines.emplace_back(kind.tag), kind, row);
        if (rows.rest) appendCells(lines.emplace_back(std::string(kind.tag) + " rest"), kind, *rows.rest);
        std::sort(lines.begin(), lines.end());
        lines.push_back(std::string(kind.tag) + " " + std::to_string(rows.sampled) + std::to_string(rows.elapsed_us));
        text.insert(text.end(), lines.begin(), lines.end());
    });
    return text;
}

// However the intervals are put together, their sum is the same.
TEST(Sum, OfSumsEqualsTheWhole) {
    for (uint64_t seed = 1; seed <= 20; seed++) {
        std::mt19937_64 random(seed);
        std::vector<Interval> all;
        for (uint64_t i = 1; i <= 40; i++) all.push_back(machineAt(random, i));
        IntervalSum whole, parts, part;
        for (auto& interval : all) {
            whole.add(interval);
            part.add(interval);
            if (random() % 4) continue;
            parts.add(part.result());
            part.clear();
        }
        if (part.intervals()) parts.add(part.result());
        EXPECT_EQ(whole.intervals(), all.size());
        EXPECT_EQ(textOf(parts.result()), textOf(whole.result())) << "seed " << seed;
    }
}

// Each amount is that of all intervals, each level that of the last one with the thing.
TEST(Sum, OfEachThing) {
    std::mt19937_64 random(3);
    IntervalSum sum;
    std::map<std::pair<uint64_t, uint64_t>, ProcRow> expected;
    uint64_t rest = 0;
    int64_t elapsed = 0, processes = 0, disks = 0;
    for (uint64_t i = 1; i <= 40; i++) {
        const auto interval = machineAt(random, i);
        sum.add(interval);
        elapsed += interval.elapsed_us, processes += interval.processes.elapsed_us;
        disks += interval.elapsed_us; // idle or not
        if (interval.processes.rest) rest += *interval.processes.rest->cpu_us;
        for (auto& row : interval.processes.rows) {
            auto& to = expected[{row.pid, row.start}];
            to.cpu_us = to.cpu_us.value_or(0) + *row.cpu_us;
            to.growth = to.growth.value_or(0) + *row.growth;
            if (row.read_bytes) to.read_bytes = to.read_bytes.value_or(0) + *row.read_bytes;
            to.rss = row.rss;
        }
    }
    const auto& result = sum.result();
    EXPECT_EQ(result.elapsed_us, elapsed);
    EXPECT_EQ(result.processes.elapsed_us, processes);
    EXPECT_EQ(result.disks.elapsed_us, disks);
    EXPECT_EQ(result.number, 40U);
    EXPECT_EQ(result.processes.rest->cpu_us, rest);
    EXPECT_EQ(result.cpu.one()->load1, 40);
    EXPECT_TRUE(result.why.rows.empty());
    EXPECT_EQ(result.disks.rows.size(), 2U); // "a" and "a,b"
    ASSERT_EQ(result.processes.rows.size(), expected.size());
    for (auto& row : result.processes.rows) {
        const auto& one = expected.at({row.pid, row.start});
        EXPECT_EQ(row.cpu_us, one.cpu_us);
        EXPECT_EQ(row.growth, one.growth);
        EXPECT_EQ(row.read_bytes, one.read_bytes);
        EXPECT_EQ(row.rss, one.rss);
    }
}

// What did something in one interval was not idle in the sum, whatever the last interval says.
TEST(Sum, CountsOfTheWholeSpan) {
    IntervalSum sum;
    for (const char* name : {"sda", "sdb", "dm-0"}) {
        Interval interval;
        auto& all = interval.disksTotal.rows.emplace_back();
        all.disks = 3, all.idle = 2, interval.disksTotal.sampled = true;
        auto& disk = interval.disks.rows.emplace_back();
        disk.name = name, disk.device = name, disk.reads = 1, disk.stacked = disk.name == "dm-0";
        interval.disks.sampled = true;
        interval.protocolsTotal.rows.emplace_back() = {400, disk.stacked ? 0U : 1U};
        interval.protocolsTotal.sampled = true;
        if (!disk.stacked)
            interval.protocols.rows.push_back({"Tcp", disk.name, 5, {}}), interval.protocols.sampled = true;
        interval.processesTotal.rows.emplace_back().ran = disk.stacked ? 2 : 7, interval.processesTotal.sampled = true;
        sum.add(interval);
    }
    auto& result = sum.result();
    EXPECT_EQ(result.disksTotal.one()->disks, 3U);
    EXPECT_EQ(result.disksTotal.one()->idle, 1U);
    EXPECT_EQ(result.protocolsTotal.one()->moved, 2U);
    EXPECT_EQ(result.processesTotal.one()->ran, 7U);
}

// A storm of processes takes no more memory than a kind may have, and no amount is lost.
TEST(Sum, Storm) {
    IntervalSum sum;
    uint64_t pid = 0, cpu = 0;
    size_t most = 0;
    for (uint64_t i = 1; i <= 60; i++) {
        Interval interval;
        interval.elapsed_us = 1000000, interval.number = i;
        interval.processes.sampled = true, interval.processes.elapsed_us = 1000000;
        for (int n = 0; n < 500; n++) {
            auto& row = interval.processes.rows.emplace_back();
            row.pid = ++pid, row.cpu_us = pid % 97, cpu += pid % 97;
        }
        auto& steady = interval.processes.rows.emplace_back();
        steady.pid = 1000000, steady.cpu_us = 1000, cpu += 1000;
        sum.add(interval);
        most = std::max(most, sum.result().processes.rows.size());
    }
    const auto& rows = sum.result().processes;
    EXPECT_LE(most * sizeof(ProcRow), IntervalSum::MostBytes);
    uint64_t all = rows.rest->cpu_us.value_or(0), steady = 0;
    for (auto& row : rows.rows) {
        all += row.cpu_us.value_or(0);
        if (row.pid == 1000000) steady += *row.cpu_us;
    }
    EXPECT_EQ(all, cpu);
    EXPECT_EQ(steady, 60000U);
}

TEST(Sum, BeyondAnyMachine) {
    IntervalSum sum;
    for (int i = 0; i < 3; i++) {
        Interval interval;
        interval.elapsed_us = i == 2 ? -5 : INT64_MAX - 10;
        interval.cpu.sampled = true, interval.cpu.elapsed_us = INT64_MAX;
        interval.cpu.rows.emplace_back().user_us = UINT64_MAX - 3;
        interval.processes.sampled = true;
        interval.processes.rows.emplace_back().growth = INT64_MIN + 3;
        sum.add(interval);
    }
    EXPECT_EQ(sum.result().elapsed_us, INT64_MAX);
    EXPECT_EQ(sum.result().cpu.one()->user_us, UINT64_MAX);
    EXPECT_EQ(sum.result().processes.one()->growth, INT64_MIN);
    sum.clear();
    EXPECT_EQ(sum.intervals(), 0U);
    EXPECT_TRUE(sum.result().cpu.rows.empty());
}

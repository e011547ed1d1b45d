// Findings as a whole: none on a calm machine, the worst first, many alike as one; and what rows they name.
#include "tests/unit/whymachine.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

TEST(Why, NothingOnACalmMachine) {
    WhyMachine machine;
    machine.disk("sda", "8:0", 50, 2, 0.3);
    const auto found = machine.find();
    EXPECT_TRUE(found.why.empty());
    EXPECT_TRUE(found.who.empty());
    EXPECT_TRUE(found.suffer.empty());
    ASSERT_GE(found.nearest.size(), 2U);
    EXPECT_LE(found.nearest.size(), 4U);
    for (auto& row : found.nearest) EXPECT_LT(row.share, 100) << row.rule;
    judge(machine.interval, machine.limits);
    EXPECT_TRUE(isJudged(machine.interval));
}

TEST(Why, NothingWithoutFigures) {
    const auto found = findings(Interval{}, Limits());
    EXPECT_TRUE(found.why.empty());
    EXPECT_TRUE(found.nearest.empty());
    Interval interval;
    judge(interval, Limits());
    EXPECT_FALSE(isJudged(interval));
    // Of the first sample there are levels alone.
    WhyMachine machine;
    machine.interval.elapsed_us = 0;
    eachKind(machine.interval, [](auto&, auto& rows) { rows.elapsed_us = 0; });
    machine.memory().available = GiB;
    EXPECT_EQ(machine.find().why.size(), 1U);
}

TEST(Why, TheWorstFirstAndNotTooMany) {
    auto machine = slowDisk();
    WhyMachine::put(machine.interval.filesystems, filesystem(92));
    machine.memory().oom_kills = 1;
    for (int i = 0; i < 40; i++) {
        auto& group = machine.group("/g" + std::to_string(i));
        group.periods = 100, group.throttled_periods = static_cast<uint64_t>(20 + i);
    }
    const auto found = machine.find();
    ASSERT_EQ(found.why.size(), 20U);
    EXPECT_EQ(found.why[0].resource, "MEMORY");
    EXPECT_EQ(found.why[1].resource, "DISK");
    for (size_t i = 0; i < found.why.size(); i++) EXPECT_EQ(found.why[i].rank, i + 1);
    for (auto& row : found.nearest) EXPECT_NE(row.resource, "DISK");
}

TEST(Why, WhatIsNamedHasNoBudget) {
    auto machine = slowDisk();
    auto& rsync = machine.process(4411, "rsync", "/b");
    rsync.write_bytes = 366 * MiB;
    auto& idle = machine.process(1, "idle");
    idle.read_chars = 5;
    machine.groupIo("/b", "8:16", 300 * MiB);
    const auto& file = machine.file(rsync, "/srv/x", "sdb", 366 * MiB);
    judge(machine.interval, machine.limits);
    const Named named(machine.interval);
    EXPECT_TRUE(named.has(machine.interval.processes.rows[0]));
    EXPECT_FALSE(named.has(machine.interval.processes.rows[1]));
    EXPECT_TRUE(named.has(file));
    EXPECT_TRUE(named.has(machine.interval.disks.rows[0]));
    EXPECT_TRUE(named.has(machine.interval.cgroupDevices.rows[0]));
    EXPECT_FALSE(named.has(machine.interval.cpu.rows[0]));
    EXPECT_EQ(firstCulprit(machine.interval.who)->pid, 4411U);
}

TEST(Why, ManyAlikeAreOneCulprit) {
    WhyMachine machine;
    machine.busy(100);
    machine.pressure("cpu", 90, 0);
    machine.process(5, "hog").cpu_us = 6 * Second;
    for (uint64_t pid = 10; pid < 22; pid++) machine.process(pid, "cc1plus").cpu_us = 2 * Second + pid;
    for (uint64_t pid = 30; pid < 32; pid++) machine.process(pid, "ld").cpu_us = Second;
    const auto found = machine.find();
    EXPECT_EQ(culprits(found, "CPU"), "cc1plus 75=, hog 19=, ld 3=, ld 3=");
    EXPECT_EQ(found.who[0].count, 12U);
    EXPECT_EQ(found.who[0].pid, 21U) << "the one that did most";
    machine.interval.processes.rows[3].user = "somebody else";
    EXPECT_EQ(machine.find().who[0].count, 11U);
}

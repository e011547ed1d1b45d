// The rules of memory on both sides of their limits, with decoys, and where sources are lacking.
#include "tests/unit/whymachine.h"

#include <cstdint>
#include <optional>
#include <utility>

#include <gtest/gtest.h>

TEST(WhyMemory, AvailableAndGrowth) {
    for (const uint64_t available : {5U, 7U}) { // of 128 halves of a GiB
        WhyMachine machine;
        machine.memory().available = available * GiB / 2;
        auto& leak = machine.process(8123, "java");
        leak.growth = 100 * static_cast<int64_t>(MiB), leak.rss = 51 * GiB, leak.swap = 5 * GiB, leak.oom_score = 1190;
        auto& large = machine.process(1, "large");
        large.rss = 60 * GiB, large.growth = 0;
        auto& victim = machine.process(2, "victim");
        victim.growth = -100 * static_cast<int64_t>(MiB), victim.major_faults = 620;
        machine.process(3, "node").growth = 7 * static_cast<int64_t>(MiB);
        const auto found = machine.find();
        if (available == 7) {
            EXPECT_EQ(found.why.size(), 0U);
            continue;
        }
        EXPECT_EQ(culprits(found, "MEMORY"), "java 93=, node 7=");
        EXPECT_EQ(found.who[0].evidence, "anon+swap +50.0 MB/s, rss 51.0G, swap 5.0G, oom_score 1190");
        EXPECT_NEAR(found.why[0].ends.value_or(0), 2560 / 53.5, 0.1);
        EXPECT_EQ(found.why[0].end, "memory gone");
        EXPECT_EQ(found.why[0].note, "swap gone in 3m");
        ASSERT_EQ(found.suffer.size(), 1U);
        EXPECT_EQ(found.suffer[0].name, "victim");
        EXPECT_EQ(found.suffer[0].value, 310);
    }
}

TEST(WhyMemory, WhoHoldsItWhenNobodyGrows) {
    WhyMachine machine;
    machine.memory().available = GiB;
    machine.process(1, "large").anonymous = 40 * GiB;
    machine.process(2, "small").rss = 2 * GiB;
    EXPECT_EQ(culprits(machine.find(), "MEMORY"), "large 64~, small 3~, ? 33?");
    // A level that is older than the interval says what grew, but not when.
    auto& old = machine.process(3, "old");
    old.growth = 100 * static_cast<int64_t>(MiB), old.memory_age_us = 5 * Second;
    EXPECT_EQ(culprits(machine.find(), "MEMORY"), "old 100~");
}

TEST(WhyMemory, StallSwapAndReclaim) {
    for (const double stall : {9.9, 10.1}) {
        WhyMachine machine;
        machine.pressure("memory", stall, 1);
        EXPECT_EQ(machine.find().why.size(), stall > 10 ? 1U : 0U);
    }
    const std::pair<std::optional<uint64_t> MemoryRow::*, uint64_t> figures[] = {
        {&MemoryRow::swap_in, 8 * MiB},
        {&MemoryRow::direct_scanned, 4000},
        {&MemoryRow::refaults, 4000},
    };
    for (auto& [figure, limit] : figures) {
        WhyMachine machine;
        machine.memory().*figure = limit;
        EXPECT_EQ(machine.find().why.size(), 0U) << "with PSI nobody waited";
        machine.interval.pressure.clear();
        EXPECT_EQ(machine.find().why.size(), 1U);
        machine.memory().*figure = limit - 2;
        EXPECT_EQ(machine.find().why.size(), 0U);
        machine.memory().*figure = std::nullopt;
        EXPECT_EQ(machine.find().why.size(), 0U);
    }
}

TEST(WhyMemory, KillsOfTheMachineAndOfGroups) {
    WhyMachine machine;
    machine.memory().oom_kills = 1;
    EXPECT_EQ(findingOf(machine.find(), "MEMORY")->rule, "mem.kills");
    // The machine counts those of groups, too, and a group those of the groups below it.
    for (auto* path : {"/pod", "/pod/box"}) {
        auto& group = machine.group(path);
        group.memory = 900 * MiB, group.memory_limit = GiB, group.oom_kills = 1;
    }
    machine.process(4, "box", "/pod/box").growth = 50 * static_cast<int64_t>(MiB);
    machine.process(5, "other", "/podium").growth = 900 * static_cast<int64_t>(MiB);
    const auto found = machine.find();
    EXPECT_EQ(found.why.size(), 2U);
    EXPECT_EQ(culprits(found, "MEMORY", "/pod/box"), "box 100=");
}

TEST(WhyMemory, AGroupAtItsLimit) {
    WhyMachine machine;
    auto& group = machine.group("/box");
    group.memory = 970 * MiB, group.memory_limit = GiB;
    group.memory_some_us = 2 * Second * 11 / 100;
    EXPECT_FALSE(findingOf(machine.find(), "MEMORY", "/box")) << "94.7 percent";
    group.memory = 975 * MiB;
    EXPECT_EQ(findingOf(machine.find(), "MEMORY", "/box")->rule, "group.stall");
    group.memory_some_us = 2 * Second * 9 / 100;
    EXPECT_FALSE(findingOf(machine.find(), "MEMORY", "/box")) << "a full page cache is no trouble";
    group.memory_some_us.reset();
    group.memory_max = 19;
    EXPECT_FALSE(findingOf(machine.find(), "MEMORY", "/box"));
    group.memory_max = 20;
    EXPECT_EQ(findingOf(machine.find(), "MEMORY", "/box")->rule, "group.hits");
    group.memory_limit.reset();
    EXPECT_FALSE(findingOf(machine.find(), "MEMORY", "/box"));
}

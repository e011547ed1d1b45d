// Groups that did something, began and ended, and what is read of those that did nothing.
#include "tests/unit/cgroupmachine.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

// The members that a group does not name have their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

TEST(CgroupRows, WhatAGroupDid) {
    GroupMachine machine(
        GroupMounts + groupOf("", {.cpu = cpuOf(100), .below = 2}) +
        groupOf("/system.slice", {.cpu = cpuOf(50), .below = 1}) +
        groupOf(
            "/system.slice/db.service",
            {.cpu = "usage_usec 50\nuser_usec 30\nsystem_usec 20\nnr_periods 10\nnr_throttled 4\nthrottled_usec 99\n",
             .io = "8:0 rbytes=512 wbytes=0 rios=1 wios=0 dbytes=0 dios=0\n",
             .max = "1048576",
             .quota = "200000 100000"}) +
        "step 1\n" + groupOf("", {.cpu = cpuOf(400), .below = 2}) +
        groupOf("/system.slice", {.cpu = cpuOf(350), .below = 1}) +
        groupOf("/system.slice/db.service",
                {.cpu = "usage_usec 350\nuser_usec 130\nsystem_usec 220\nnr_periods 20\nnr_throttled 9\nthrottled_usec "
                        "599\n",
                 .io = "8:0 rbytes=1024 wbytes=0 rios=2 wios=0 dbytes=0 dios=0\n8:16 rbytes=0 wbytes=4096 rios=0 "
                       "wios=1 dbytes=0 dios=0\n",
                 .events = "high 0\nmax 5\noom 1\noom_kill 1\n",
                 .memory = "1000000",
                 .max = "1048576",
                 .quota = "200000 100000",
                 .pids = "7"}));
    const auto result = machine.next();
    ASSERT_EQ(result.all.rows.size(), 1U);
    EXPECT_EQ(result.all.rows[0].groups, 2U);
    EXPECT_EQ(result.all.rows[0].idle, 0U);
    EXPECT_EQ(result.all.rows[0].version, 2U);
    EXPECT_EQ(result.groups.elapsed_us, 1000000);
    ASSERT_EQ(result.groups.rows.size(), 3U);
    EXPECT_EQ(result.groups.rows[0].path, "/");
    EXPECT_EQ(result.groups.rows[0].cpu_us, 300U);
    EXPECT_FALSE(result.groups.rows[0].read_bytes) << "this root has no io.stat";
    const auto& db = result.groups.rows[2];
    EXPECT_EQ(db.path, "/system.slice/db.service");
    EXPECT_EQ(db.name, "db.service");
    EXPECT_EQ(db.kind, "unit");
    EXPECT_TRUE(db.named);
    EXPECT_EQ(db.cpu_us, 300U);
    EXPECT_EQ(db.user_us, 100U);
    EXPECT_EQ(db.system_us, 200U);
    EXPECT_EQ(db.periods, 10U);
    EXPECT_EQ(db.throttled_periods, 5U);
    EXPECT_EQ(db.throttled_us, 500U);
    EXPECT_EQ(db.read_bytes, 512U);
    EXPECT_EQ(db.write_bytes, 4096U);
    EXPECT_EQ(db.memory_max, 5U);
    EXPECT_EQ(db.oom_kills, 1U);
    EXPECT_EQ(db.memory, 1000000U);
    EXPECT_EQ(db.memory_limit, 1048576U);
    EXPECT_EQ(db.pids, 7U);
    EXPECT_FALSE(db.pids_limit);
    EXPECT_EQ(db.quota, 2.0);
    EXPECT_FALSE(db.cpu_some_us);
    ASSERT_EQ(result.devices.rows.size(), 2U);
    EXPECT_EQ(result.devices.rows[0].device, "8:0");
    EXPECT_EQ(result.devices.rows[0].reads, 1U);
    EXPECT_EQ(result.devices.rows[1].device, "8:16");
    EXPECT_EQ(result.devices.rows[1].write_bytes, 4096U) << "not used before";
}

TEST(CgroupRows, AStillSubtreeIsOnlyLookedAt) {
    const auto tree = groupOf("/a", {.below = 1}) + groupOf("/a/b", {});
    GroupMachine machine(GroupMounts + groupOf("", {.below = 2}) + tree + "step 1\nstep 2\n" +
                         groupOf("/a", {.io = "8:0 rbytes=5 wbytes=0 rios=1 wios=0\n", .below = 1}) +
                         groupOf("/a/b", {.io = "8:0 rbytes=5 wbytes=0 rios=1 wios=0\n"}));
    std::string opened;
    machine.made.world.watch = [&](const std::string& path) { opened += path + "\n"; };
    auto result = machine.next();
    EXPECT_NE(opened.find("/a/cpu.stat"), opened.npos);
    EXPECT_EQ(opened.find("/a/b/cpu.stat"), opened.npos);
    EXPECT_EQ(opened.find("/a/cpu.pressure"), opened.npos);
    EXPECT_TRUE(result.groups.rows.empty());
    EXPECT_EQ(result.all.rows.at(0).idle, 2U);
    EXPECT_EQ(result.all.rows.at(0).groups, 2U);
    // io.stat moves though cpu.stat stands still: written back by the kernel.
    result = machine.next();
    ASSERT_TRUE(result.find("/a/b"));
    EXPECT_EQ(result.find("/a/b")->cpu_us, 0U);
    EXPECT_EQ(result.find("/a/b")->read_bytes, 5U);
    // In the first interval of a log, all have rows.
    GroupMachine other(GroupMounts + groupOf("", {.below = 2}) + tree + "step 1\n");
    result = other.next(true);
    EXPECT_EQ(result.groups.rows.size(), 3U);
    EXPECT_EQ(result.find("/a/b")->cpu_us, 0U);
    EXPECT_EQ(result.find("/a/b")->memory, 4096U);
}

TEST(CgroupRows, BirthDeathAndReuse) {
    GroupMachine machine(GroupMounts + groupOf("", {.below = 2}) + groupOf("/b", {.cpu = cpuOf(1000)}) +
                         groupOf("/d", {.cpu = cpuOf(7)}) + "step 1\n" + groupOf("", {.below = 4}) +
                         groupOf("/a", {.cpu = cpuOf(70), .below = 1}) + groupOf("/a/x", {.cpu = cpuOf(60)}) +
                         "step 2\ngone /sys/fs/cgroup/b\ngone /sys/fs/cgroup/a\n" + groupOf("", {.below = 1}) +
                         "step 3\n" + groupOf("", {.below = 2}) + groupOf("/b", {.cpu = cpuOf(1500)}) +
                         "step 4\ngone /sys/fs/cgroup/b\n" + groupOf("/c", {.cpu = cpuOf(3)}));
    auto result = machine.next();
    ASSERT_TRUE(result.find("/a") && result.find("/a/x"));
    EXPECT_EQ(result.find("/a")->cpu_us, 70U) << "born in the interval";
    EXPECT_EQ(result.find("/a/x")->cpu_us, 60U);
    EXPECT_FALSE(result.find("/b"));
    EXPECT_EQ(result.all.rows.at(0).groups, 4U);
    result = machine.next();
    EXPECT_EQ(result.all.rows.at(0).groups, 1U);
    EXPECT_TRUE(result.groups.rows.empty());
    result = machine.next(); // the same name again is another group
    EXPECT_EQ(result.find("/b")->cpu_us, 1500U);
    result = machine.next(); // one for another: the kernel's count is the same
    EXPECT_FALSE(result.find("/b"));
    ASSERT_TRUE(result.find("/c"));
    EXPECT_EQ(result.find("/c")->cpu_us, 3U);
    EXPECT_EQ(result.all.rows.at(0).groups, 2U);
}

TEST(CgroupRows, AResetIsEmptyAndALimitIsSeenInTime) {
    GroupMachine machine(GroupMounts + groupOf("", {.below = 2}) +
                         groupOf("/a", {.cpu = cpuOf(1000), .io = "8:0 rbytes=9 rios=2\n"}) + groupOf("/b", {}) +
                         "step 1\n" + groupOf("/a", {.cpu = cpuOf(10), .io = "8:0 rbytes=4 rios=3\n", .pids = "2"}) +
                         groupOf("/b", {.max = "8192"}));
    auto result = machine.next();
    ASSERT_TRUE(result.find("/a"));
    EXPECT_FALSE(result.find("/a")->cpu_us);
    EXPECT_FALSE(result.find("/a")->read_bytes);
    EXPECT_FALSE(result.devices.rows.at(0).read_bytes);
    EXPECT_EQ(result.devices.rows.at(0).reads, 1U);
    // Nothing ran in /b, so its new limit is found when its turn comes.
    bool seen = result.find("/b");
    for (uint32_t i = 0; i < 3 * CgroupSampler::Turn && !seen; i++) {
        machine.sampler.sample(machine.sample);
        result = GroupResult();
        cgroupRows(machine.sample, false, result.all, result.groups, result.devices);
        seen = result.find("/b");
    }
    ASSERT_TRUE(seen);
    EXPECT_EQ(result.find("/b")->memory_limit, 8192U);
    EXPECT_EQ(result.find("/b")->cpu_us, 0U);
}

TEST(CgroupRows, HostileNamesAndDepth) {
    std::string deep, lines = GroupMounts + groupOf("", {.below = 200}) + groupOf("/a\\x0Ab\\x1B[2J", {}) +
                              groupOf("/\\xFF\\xFE", {});
    for (int i = 0; i < 90; i++) deep += "/d", lines += groupOf(deep, {.below = 89 - i});
    GroupMachine machine(lines + "step 1\n");
    const auto result = machine.next(true);
    EXPECT_TRUE(result.find("/a\nb\x1B[2J"));
    EXPECT_TRUE(result.find("/\xFF\xFE"));
    EXPECT_EQ(result.groups.rows.size(), 1U + 2U + CgroupSampler::MostDepth);
}

TEST(CgroupRows, AMachineWithoutGroups) {
    GroupMachine machine("step 1\nstep 2\n" + GroupMounts + groupOf("", {}) + "step 3\n");
    auto result = machine.next();
    EXPECT_TRUE(result.all.rows.empty());
    EXPECT_FALSE(result.groups.sampled);
    machine.next(); // mounted late: the first pass with groups
    result = machine.next();
    EXPECT_EQ(result.all.rows.size(), 1U);
}

#include "parse/cgroup.h"

#include <string>

#include <gtest/gtest.h>

TEST(GroupFiles, CpuStat) {
    KeyPlan plan;
    GroupCpu cpu;
    parseGroupCpu("usage_usec 17361\nuser_usec 11000\nsystem_usec 6361\ncore_sched.force_idle_usec 0\nnr_periods 40\n"
                  "nr_throttled 38\nthrottled_usec 3056789\nnr_bursts 0\nburst_usec 0\n",
                  plan, cpu);
    EXPECT_EQ(cpu.usage_us, 17361U);
    EXPECT_EQ(cpu.user_us, 11000U);
    EXPECT_EQ(cpu.system_us, 6361U);
    EXPECT_EQ(cpu.periods, 40U);
    EXPECT_EQ(cpu.throttled_periods, 38U);
    EXPECT_EQ(cpu.throttled_us, 3056789U);
    // Another group, without the controller.
    parseGroupCpu("usage_usec 5\nuser_usec -1\nsystem_usec 99999999999999999999\n", plan, cpu);
    EXPECT_EQ(cpu.usage_us, 5U);
    EXPECT_FALSE(cpu.user_us);
    EXPECT_FALSE(cpu.system_us);
    EXPECT_FALSE(cpu.periods);
    parseGroupCpu("", plan, cpu);
    EXPECT_FALSE(cpu.usage_us);
    GroupCpu first;
    parseGroupCpu1("nr_periods 7\nnr_throttled 2\nthrottled_time 1500999\n", plan, first);
    EXPECT_EQ(first.periods, 7U);
    EXPECT_EQ(first.throttled_us, 1500U);
}

TEST(GroupFiles, MemoryEvents) {
    KeyPlan plan;
    GroupMemoryEvents events;
    parseGroupMemoryEvents("low 0\nhigh 3\nmax 12\noom 2\noom_kill 1\noom_group_kill 0\n", plan, events);
    EXPECT_EQ(events.high, 3U);
    EXPECT_EQ(events.max, 12U);
    EXPECT_EQ(events.oom, 2U);
    EXPECT_EQ(events.oom_kills, 1U);
    parseGroupMemoryEvents("oom_kill_disable 0\nunder_oom 0\noom_kill 4\n", plan, events); // memory.oom_control
    EXPECT_EQ(events.oom_kills, 4U);
    EXPECT_FALSE(events.high);
}

TEST(GroupFiles, IoStat) {
    std::vector<GroupIo> devices;
    parseGroupIo("253:0 rbytes=4096 wbytes=8192 rios=1 wios=2 dbytes=3 dios=4 cost.usage=17\n"
                 "8:16 rbytes=1 wbytes=2 rios=3 wios=4 dbytes=5 dios=6\n",
                 devices);
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_EQ(devices[0].major, 8U) << "sorted";
    EXPECT_EQ(devices[0].minor, 16U);
    EXPECT_EQ(devices[0].discards, 6U);
    EXPECT_EQ(devices[1].read_bytes, 4096U);
    EXPECT_EQ(devices[1].write_bytes, 8192U);
    EXPECT_EQ(devices[1].reads, 1U);
    EXPECT_EQ(devices[1].writes, 2U);
    EXPECT_EQ(devices[1].discard_bytes, 3U);
    // The number alone; two of them on one line.
    parseGroupIo("8:0 \n8:16\n259:0 259:1 rbytes=7 wbytes=0 rios=1 wios=0\n", devices);
    ASSERT_EQ(devices.size(), 1U);
    EXPECT_EQ(devices[0].major, 259U);
    EXPECT_EQ(devices[0].minor, 1U);
    EXPECT_EQ(devices[0].read_bytes, 7U);
    for (auto text : {"", "\n", "rbytes=1\n", "8:x rbytes=1\n", ":0 rbytes=1", "4294967296:0 rbytes=1",
                      "8:0 rbytes=-1\n", "8:0 rbytes=99999999999999999999\n", "8:0 =\n", "8:0 rbytes\n"}) {
        parseGroupIo(text, devices);
        EXPECT_TRUE(devices.empty()) << text;
    }
    parseGroupIo("8:0 rbytes=1\n8:0 rbytes=2\n", devices);
    EXPECT_EQ(devices.size(), 1U) << "a device has one line";
}

TEST(GroupFiles, Limits) {
    auto quota = parseGroupQuota("20000 100000\n");
    EXPECT_EQ(quota.quota_us, 20000U);
    EXPECT_EQ(quota.period_us, 100000U);
    quota = parseGroupQuota("max 100000\n");
    EXPECT_FALSE(quota.quota_us);
    EXPECT_EQ(quota.period_us, 100000U);
    for (auto text : {"", "\n", "x y\n", "-1\n"}) {
        quota = parseGroupQuota(text);
        EXPECT_FALSE(quota.quota_us || quota.period_us) << text;
    }
    EXPECT_EQ(parseGroupNumber("22286336\n"), 22286336U);
    EXPECT_EQ(parseGroupNumber("7"), 7U);
    for (auto text : {"", "\n", "max\n", "-1\n", "7 8\n", "18446744073709551616\n"})
        EXPECT_FALSE(parseGroupNumber(text)) << text;
    EXPECT_EQ(parseGroupLimit1("536870912\n"), 536870912U);
    EXPECT_FALSE(parseGroupLimit1("9223372036854771712\n")); // pages of 4 KiB
    EXPECT_FALSE(parseGroupLimit1("9223372036854710272\n")); // of 64 KiB
}

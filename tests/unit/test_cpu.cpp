#include "model/amounts.h"
#include "model/cpu.h"
#include "parse/loadavg.h"
#include "parse/stat.h"
#include "sample/cpu.h"
#include "tests/unit/made.h"

#include <gtest/gtest.h>

TEST(Stat, TakesEveryColumnThatIsThere) {
    SystemStat stat;
    ASSERT_TRUE(
        parseStat("cpu  1 2 3 4 5 6 7 8 9 10\ncpu0 1 2 3 4 5 6 7 8 9 10\ncpu17 11 12 13 14\nintr 99 0 1\nctxt 77\n"
                  "btime 1700000000\nprocesses 55\nprocs_running 3\nprocs_blocked 2\nsoftirq 44 1 2\n",
                  stat));
    EXPECT_EQ(stat.all.columns, 10U);
    EXPECT_EQ(stat.all.guest_nice, 10U);
    ASSERT_EQ(stat.cores.size(), 2U);
    EXPECT_EQ(stat.cores[1].core, 17U);
    EXPECT_EQ(stat.cores[1].columns, 4U);
    EXPECT_EQ(stat.cores[1].idle, 14U);
    EXPECT_EQ(stat.interrupts, 99U);
    EXPECT_EQ(stat.switches, 77U);
    EXPECT_EQ(stat.boot_s, 1700000000);
    EXPECT_EQ(stat.forks, 55U);
    EXPECT_EQ(stat.running, 3U);
    EXPECT_EQ(stat.blocked, 2U);
    EXPECT_EQ(stat.softirqs, 44U);
}

TEST(Stat, WhatIsNotThereIsEmpty) {
    SystemStat stat;
    ASSERT_TRUE(parseStat("cpu 1\nctxt 5\n", stat));
    ASSERT_TRUE(parseStat("cpu 1\ncpux 1 2\nctxt\nintr -5\nprocesses 99999999999999999999\n", stat));
    EXPECT_FALSE(stat.switches);
    EXPECT_FALSE(stat.interrupts);
    EXPECT_FALSE(stat.forks);
    EXPECT_TRUE(stat.cores.empty());
    // No kernel has two lines of all CPUs; the last one counts.
    ASSERT_TRUE(parseStat("cpu 1 2 3 4 5 6 7 8 9 10\ncpu 11 12\n", stat));
    EXPECT_EQ(stat.all.columns, 2U);
    EXPECT_EQ(stat.all.system, 0U);
    for (const char* text : {"", "\n\n", "cpu", "cpu ", "cpu x", "hello world", "cpu0 1 2 3"})
        EXPECT_FALSE(parseStat(text, stat)) << text;
}

TEST(LoadAverages, OnlyInTheirForm) {
    const auto load = parseLoadAverage("0.20 12.18 0.05 1/80 11206\n");
    ASSERT_TRUE(load);
    EXPECT_DOUBLE_EQ(load->one, 0.2);
    EXPECT_DOUBLE_EQ(load->five, 12.18);
    EXPECT_EQ(load->runnable, 1U);
    EXPECT_EQ(load->tasks, 80U);
    for (const char* text : {"", "0.20", "0.20 0.18 0.12", "0.20 0.18 0.12 1", "0.20 0.18 0.12 1/", "a b c 1/2 3"})
        EXPECT_FALSE(parseLoadAverage(text)) << text;
}

TEST(Amounts, FallsAndWraps) {
    EXPECT_EQ(grown(5, 7), 2U);
    EXPECT_FALSE(grown(7, 5));
    EXPECT_FALSE(grown({}, 5));
    EXPECT_FALSE(grown(5, {}));
    EXPECT_EQ(grownOrStill(7, 5), 0U);
    EXPECT_EQ(grown32(0xFFFFFFFF, 1), 2U);
}

static CpuSample sampleOf(const char* text, int64_t at_us) {
    CpuSample sample;
    sample.at_us = at_us;
    sample.known = parseStat(text, sample.stat);
    return sample;
}

TEST(CpuModel, AmountsAreTicksInMicroseconds) {
    const auto before =
        sampleOf("cpu  100 0 50 1000 20 0 0 0 0 0\ncpu1 1 1 1 1\ncpu2 5 5 5 5\nctxt 10\nprocesses 3\n", 1000);
    const auto now =
        sampleOf("cpu  150 0 50 999 19 0 0 7 0 0\ncpu0 9 9 9 9\ncpu2 7 5 4 5\nctxt 30\nprocesses 2\n", 2001000);
    Rows<CpuRow> rows;
    cpuRows(&before, now, rows);
    ASSERT_EQ(rows.rows.size(), 1U);
    auto& row = rows.rows[0];
    EXPECT_EQ(rows.elapsed_us, 2000000);
    EXPECT_EQ(row.user_us, 500000U);
    EXPECT_EQ(row.system_us, 0U);
    EXPECT_EQ(row.idle_us, 0U) << "a small fall of idle time";
    EXPECT_EQ(row.iowait_us, 0U);
    EXPECT_EQ(row.steal_us, 70000U);
    EXPECT_EQ(row.switches, 20U);
    EXPECT_FALSE(row.forks) << "a counter that fell";
    EXPECT_EQ(row.cpus, 2U);

    Rows<CoreRow> cores;
    coreRows(&before, now, cores);
    ASSERT_EQ(cores.rows.size(), 2U);
    EXPECT_EQ(cores.rows[0].core, 0U);
    EXPECT_FALSE(cores.rows[0].user_us) << "was offline";
    EXPECT_EQ(cores.rows[1].core, 2U);
    EXPECT_EQ(cores.rows[1].user_us, 20000U);
    EXPECT_FALSE(cores.rows[1].system_us) << "fell";
    EXPECT_FALSE(cores.rows[1].irq_us) << "this kernel has no such column";
}

TEST(CpuModel, TheFirstSampleHasLevelsOnly) {
    const auto now = sampleOf("cpu  1 2 3 4\nprocs_running 4\n", 5);
    Rows<CpuRow> rows;
    cpuRows(nullptr, now, rows);
    ASSERT_EQ(rows.rows.size(), 1U);
    EXPECT_FALSE(rows.rows[0].user_us);
    EXPECT_EQ(rows.rows[0].running, 4U);
    EXPECT_EQ(rows.elapsed_us, 0);
    rows.clear();
    cpuRows(&now, sampleOf("", 9), rows);
    EXPECT_TRUE(rows.rows.empty());
    EXPECT_FALSE(rows.sampled);
}

// --- Frequencies

static std::string coresOf(int count) {
    std::string lines = "file /proc/stat <<W\ncpu  1 1 1 1\n";
    for (int i = 0; i < count; i++) lines += "cpu" + std::to_string(i) + " 1 1 1 1\n";
    return lines + "W\n";
}

static std::string frequency(int core, const std::string& khz) {
    return "text /sys/devices/system/cpu/cpu" + std::to_string(core) + "/cpufreq/scaling_cur_freq \"" + khz + "\\n\"\n";
}

TEST(Frequencies, OfEachCoreAndTheirMean) {
    const Made machine(coresOf(3) + frequency(0, "2000400") + frequency(1, "3000600") + frequency(2, "x"));
    CoreSampler sampler{Root()};
    CpuSample sample;
    sampler.sample(sample);
    Rows<CoreRow> cores;
    Rows<CpuRow> all;
    coreRows(nullptr, sample, cores);
    cpuRows(nullptr, sample, all);
    ASSERT_EQ(cores.rows.size(), 3U);
    EXPECT_EQ(cores.rows[0].mhz, 2000U);
    EXPECT_EQ(cores.rows[1].mhz, 3001U);
    EXPECT_FALSE(cores.rows[2].mhz);
    EXPECT_EQ(all.rows[0].mhz, 2501U);
}

// The mean of many cores is that of some, evenly spread.
TEST(Frequencies, AMeanOfSome) {
    std::string lines = coresOf(64);
    for (int i = 0; i < 64; i++) lines += frequency(i, std::to_string(1000000 + 1000 * i));
    const Made machine(lines);
    CpuSampler sampler{Root()};
    CpuSample sample;
    sampler.sample(sample);
    ASSERT_EQ(sample.frequencies.size(), CpuSampler::ForMean);
    EXPECT_EQ(sample.frequencies[1].core, 8U);
    Rows<CpuRow> all;
    cpuRows(nullptr, sample, all);
    EXPECT_EQ(all.rows[0].mhz, 1028U);
}

TEST(Frequencies, WithoutThemTheFilesAreNotLookedForAgain) {
    Made machine(coresOf(4) + "step 1\nstep 2\n" + coresOf(2) + frequency(0, "5000") + frequency(1, "5000"));
    CoreSampler sampler{Root()};
    CpuSample sample;
    sampler.sample(sample);
    EXPECT_TRUE(sample.frequencies.empty());
    size_t opened = 0;
    machine.world.watch = [&](const std::string& path) { opened += path.starts_with("/sys/"); };
    machine.step();
    sampler.sample(sample);
    EXPECT_EQ(opened, 0U);
    machine.step(); // other cores
    sampler.sample(sample);
    EXPECT_EQ(sample.frequencies.size(), 2U);
}

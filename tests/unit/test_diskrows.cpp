#include "model/disk.h"
#include "parse/diskstats.h"

#include <gtest/gtest.h>

TEST(Diskstats, EveryNumberOfColumns) {
    std::vector<DiskCounters> disks;
    parseDiskstats("   8       0 sda 1 2 3 4 5 6 7 8 9 10 11\n"
                   "   8      16 sdb 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15\n"
                   "   8      32 sdc 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17\n"
                   "   8      48 sdd 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19\n"
                   "   8      64 sde 1 2 3 4 5 6 7 8 -1 10 11\n",
                   disks);
    ASSERT_EQ(disks.size(), 5U);
    EXPECT_EQ(disks[0].columns, 11U);
    EXPECT_EQ(disks[0].queue_ms, 11U);
    EXPECT_EQ(disks[1].columns, 15U);
    EXPECT_EQ(disks[1].discard_ms, 15U);
    EXPECT_EQ(disks[2].flush_ms, 17U);
    EXPECT_EQ(disks[3].columns, 17U);
    EXPECT_EQ(disks[4].in_flight, 0U);
    EXPECT_EQ(disks[4].busy_ms, 10U);
    EXPECT_EQ(disks[2].name, "sdc");
    EXPECT_EQ(disks[2].minor, 32U);
}

TEST(Diskstats, WhatIsNoDeviceIsLeftOut) {
    std::vector<DiskCounters> disks(3);
    parseDiskstats("\n8\n8 0\n8 0 sda\n8 0 sda 1 2 3 4 5 6 7 8 9 10\nx 0 sda 1 2 3 4 5 6 7 8 9 10 11\n"
                   "8 0 sda 99999999999999999999 2 3 4 5 6 7 8 9 10 11\n4294967296 0 sda 1 2 3 4 5 6 7 8 9 10 11\n",
                   disks);
    EXPECT_TRUE(disks.empty());
}

static DiskSample sampleOf(const char* text, int64_t at_us, std::vector<DiskFacts> facts) {
    DiskSample sample;
    sample.at_us = at_us, sample.known = true;
    parseDiskstats(text, sample.disks);
    sample.facts = std::move(facts);
    EXPECT_EQ(sample.facts.size(), sample.disks.size());
    return sample;
}

static constexpr DiskFacts Plain = {DiskKind::Disk, false, 0};

struct Result {
    Rows<DiskRow> disks;
    Rows<DisksRow> all;
};
static Result rowsOf(const DiskSample& before, const DiskSample& now, bool complete = false) {
    Result result;
    diskRows(&before, now, complete, result.disks, result.all);
    EXPECT_EQ(result.all.rows.size(), 1U);
    return result;
}

TEST(DiskModel, AmountsInBytesAndMicroseconds) {
    const auto result = rowsOf(sampleOf("8 0 sda 10 1 100 50 20 2 200 80 0 100 130 1 0 8 5 3 9\n", 0, {Plain}),
                               sampleOf("8 0 sda 13 1 108 56 20 2 200 80 2 104 140 2 0 16 6 4 12\n", 2000000, {Plain}));
    ASSERT_EQ(result.disks.rows.size(), 1U);
    auto& row = result.disks.rows[0];
    EXPECT_EQ(result.disks.elapsed_us, 2000000);
    EXPECT_EQ(row.device, "8:0");
    EXPECT_EQ(row.reads, 3U);
    EXPECT_EQ(row.read_bytes, 8U * 512);
    EXPECT_EQ(row.read_us, 6000U);
    EXPECT_EQ(row.writes, 0U);
    EXPECT_EQ(row.busy_us, 4000U);
    EXPECT_EQ(row.queue_us, 10000U);
    EXPECT_EQ(row.discards, 1U);
    EXPECT_EQ(row.flush_us, 3000U);
    EXPECT_EQ(row.in_flight, 2U);
    EXPECT_EQ(result.all.rows[0].reads, 3U);
    EXPECT_EQ(result.all.rows[0].disks, 1U);
}

TEST(DiskModel, MillisecondsWrapAndResetsDoNot) {
    // Only milliseconds fell: they wrapped at 2^32.
    auto result = rowsOf(sampleOf("8 0 sda 10 0 100 4294967290 0 0 0 0 0 5 5\n", 0, {Plain}),
                         sampleOf("8 0 sda 11 0 108 4 0 0 0 0 0 6 6\n", 1000000, {Plain}));
    EXPECT_EQ(result.disks.rows.at(0).read_us, 10000U);
    EXPECT_FALSE(result.disks.rows.at(0).discards) << "this kernel does not count them";
    // Something else fell, too: a reset, of which nothing is known.
    result = rowsOf(sampleOf("8 0 sda 10 0 100 50 0 0 0 0 0 5 5\n", 0, {Plain}),
                    sampleOf("8 0 sda 2 0 8 4 0 0 0 0 1 6 6\n", 1000000, {Plain}));
    EXPECT_FALSE(result.disks.rows.at(0).reads);
    EXPECT_FALSE(result.disks.rows.at(0).read_us);
    EXPECT_FALSE(result.all.rows[0].reads);
}

TEST(DiskModel, ADiskIsWhatItIsNotWhereItStands) {
    const DiskFacts first = {DiskKind::Disk, false, 7}, second = {DiskKind::Disk, false, 8},
                    other = {DiskKind::Disk, false, 9};
    auto result =
        rowsOf(sampleOf("8 0 sda 10 0 0 0 0 0 0 0 0 0 0\n8 16 sdb 20 0 0 0 0 0 0 0 0 0 0\n", 0, {first, second}),
               sampleOf("8 16 sdb 21 0 0 0 0 0 0 0 0 0 0\n8 0 sda 13 0 0 0 0 0 0 0 0 0 0\n", 1, {second, first}));
    ASSERT_EQ(result.disks.rows.size(), 2U);
    EXPECT_EQ(result.disks.rows[0].reads, 1U);
    EXPECT_EQ(result.disks.rows[1].reads, 3U);
    // Unplugged, and another one under the same name: born in the interval, so its whole counter counts.
    result = rowsOf(sampleOf("8 0 sda 10 0 0 0 0 0 0 0 0 0 0\n", 0, {first}),
                    sampleOf("8 0 sda 13 0 0 0 0 0 0 0 0 0 0\n", 1, {other}));
    EXPECT_EQ(result.disks.rows.at(0).reads, 13U);
    // The same without sequence numbers: the name tells.
    result = rowsOf(sampleOf("252 0 dm-0 10 0 0 0 0 0 0 0 0 0 0\n", 0, {Plain}),
                    sampleOf("252 0 dm-1 13 0 0 0 0 0 0 0 0 0 0\n", 1, {Plain}));
    EXPECT_EQ(result.disks.rows.at(0).reads, 13U);
}

TEST(DiskModel, TheTotalCountsNothingTwice) {
    const char* before =
        "8 0 sda 0 0 0 0 0 0 0 0 0 0 0\n8 1 sda1 0 0 0 0 0 0 0 0 0 0 0\n252 0 dm-0 0 0 0 0 0 0 0 0 0 0 0\n"
        "7 0 loop0 0 0 0 0 0 0 0 0 0 0 0\n251 0 zram0 0 0 0 0 0 0 0 0 0 0 0\n8 16 sdb 0 0 0 0 0 0 0 0 0 0 0\n";
    const char* now =
        "8 0 sda 5 0 0 0 0 0 0 0 0 0 0\n8 1 sda1 5 0 0 0 0 0 0 0 0 0 0\n252 0 dm-0 5 0 0 0 0 0 0 0 0 0 0\n"
        "7 0 loop0 5 0 0 0 0 0 0 0 0 0 0\n251 0 zram0 0 0 0 0 0 0 0 0 0 0 0\n8 16 sdb 0 0 0 0 0 0 0 0 0 0 0\n";
    const std::vector<DiskFacts> facts = {Plain,
                                          {DiskKind::Partition, false, 0},
                                          {DiskKind::Mapped, true, 0},
                                          {DiskKind::Loop, false, 0},
                                          {DiskKind::Zram, false, 0},
                                          Plain};
    auto result = rowsOf(sampleOf(before, 0, facts), sampleOf(now, 1, facts));
    EXPECT_EQ(result.disks.rows.size(), 4U);
    EXPECT_EQ(result.all.rows[0].reads, 5U);
    EXPECT_EQ(result.all.rows[0].disks, 2U);
    EXPECT_EQ(result.all.rows[0].idle, 1U);
    // The first interval of a log has idle ones, too, but for loop and zram.
    result = rowsOf(sampleOf(before, 0, facts), sampleOf(now, 1, facts), true);
    EXPECT_EQ(result.disks.rows.size(), 5U);
}

// 2,000 disks that all stand elsewhere than before are found without a search a disk.
TEST(DiskModel, ManyDisksInAnotherOrder) {
    std::string before, now;
    std::vector<DiskFacts> facts;
    for (uint64_t i = 0; i < 2000; i++) {
        const auto line = [](uint64_t n, uint64_t reads) {
            return "8 " + std::to_string(n) + " sd" + std::to_string(n) + " " + std::to_string(reads) +
                   " 0 0 0 0 0 0 0 0 0 0\n";
        };
        before += line(i, i), now += line(1999 - i, 1999 - i + 2);
        facts.push_back(Plain);
    }
    const auto result = rowsOf(sampleOf(before.c_str(), 0, facts), sampleOf(now.c_str(), 1, facts));
    ASSERT_EQ(result.disks.rows.size(), 2000U);
    for (auto& row : result.disks.rows) EXPECT_EQ(row.reads, 2U);
    EXPECT_EQ(result.all.rows[0].reads, 4000U);
}

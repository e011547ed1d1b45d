#include "model/fs.h"
#include "parse/filesystems.h"

#include <gtest/gtest.h>

static MountInfo mountOf(const char* line) {
    MountInfo mount;
    EXPECT_TRUE(parseMountInfoLine(line, mount)) << line;
    return mount;
}

TEST(Filesystems, EachOnceAndNoPseudoOnes) {
    std::vector<MountInfo> mounts;
    for (const char* line :
         {"22 27 0:21 / /proc rw - proc proc rw", "27 1 254:0 / / rw - ext4 /dev/vda rw",
          "28 27 254:0 /home/a /srv rw - ext4 /dev/vda rw", "30 27 0:40 /sub /data rw - btrfs /dev/vdb rw",
          "31 27 0:40 / /all rw - btrfs /dev/vdb rw", "32 27 0:50 / /merged rw - overlay overlay rw",
          "33 27 0:60 / /net rw - autofs systemd-1 rw", "34 33 0:61 / /net/x rw - nfs4 nas:/x rw"})
        mounts.push_back(mountOf(line));
    const auto found = filesystemsOf(mounts);
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[0].point, "/");
    EXPECT_EQ(found[1].point, "/all");
    EXPECT_EQ(found[2].type, "nfs4");
    EXPECT_TRUE(isRemoteFs("nfs4"));
    EXPECT_TRUE(isRemoteFs("fuse.sshfs"));
    EXPECT_FALSE(isRemoteFs("xfs"));
    // In a container the overlay is all there is.
    EXPECT_EQ(filesystemsOf({mountOf("1 0 0:50 / / rw - overlay overlay rw")}).size(), 1U);
}

// Who asks for the path of a hidden mount gets the figures of the one that hides it.
TEST(Filesystems, NoneThatAnotherMountHides) {
    std::vector<MountInfo> mounts;
    for (const char* line :
         {"1 1 0:2 / / rw - tmpfs rootfs rw", "20 1 8:1 / / rw - ext4 /dev/sda1 rw", // on the first root
          "21 20 8:2 / /mnt rw - xfs /dev/sda2 rw", "24 23 8:5 / /mnt/c/d rw - xfs /dev/sda5 rw",
          "22 21 8:3 / /mnt rw - xfs /dev/sda3 rw",   // on top of the one before
          "23 21 8:4 / /mnt/c rw - xfs /dev/sda4 rw", // below what is hidden, with 24 on it
          "25 22 8:6 / /mnt/e rw - xfs /dev/sda6 rw", "26 20 8:7 / /srv/x/y rw - xfs /dev/sda7 rw",
          "27 20 8:8 / /srv rw - xfs /dev/sda8 rw", // hides 26
          "28 20 8:9 / /srv2 rw - xfs /dev/sda9 rw", "29 99 8:10 / /far rw - xfs /dev/sda10 rw"})
        mounts.push_back(mountOf(line));
    std::string points;
    for (const auto& found : filesystemsOf(mounts)) points += found.source.substr(8) + " ";
    EXPECT_EQ(points, "1 3 6 8 9 10 ");
}

static FsEntry entryOf(uint64_t blocks, uint64_t free) {
    FsEntry entry;
    entry.mount = 1, entry.major = 8, entry.minor = 1;
    entry.point = "/srv", entry.source = "/dev/sda1", entry.type = "xfs";
    entry.known = true;
    entry.space = {4096, blocks, free, free, 100, 40, false};
    return entry;
}

struct FsResult {
    Rows<FsRow> rows;
    Rows<FsTotalRow> all;
};
static FsResult rowsOf(FsEntry before, FsEntry now, bool complete = false) {
    FsSample first, second;
    first.known = second.known = true;
    first.at_us = 0, second.at_us = 10000000;
    first.entries.push_back(std::move(before)), second.entries.push_back(std::move(now));
    FsResult result;
    fsRows(&first, second, complete, result.rows, result.all);
    return result;
}

TEST(FsModel, WhoServesAFilesystemCanAnswerAnything) {
    auto before = entryOf(uint64_t{1} << 50, 0), now = entryOf(uint64_t{1} << 51, 0); // 2^62 and 2^63 bytes
    now.past_us = 1, now.past_used = uint64_t{1} << 62, now.answered_us = 1000001;
    const auto result = rowsOf(before, now);
    ASSERT_EQ(result.rows.rows.size(), 1U);
    EXPECT_EQ(result.rows.rows[0].growth, int64_t{1} << 62);
    EXPECT_DOUBLE_EQ(result.rows.rows[0].growth_rate.value_or(0), 0x1p62);
}

TEST(FsModel, GrowthAndTimeUntilFull) {
    auto now = entryOf(1000, 400);
    now.past_us = 1, now.past_used = 500 * 4096, now.answered_us = 10000001;
    const auto result = rowsOf(entryOf(1000, 450), now);
    ASSERT_EQ(result.rows.rows.size(), 1U);
    auto& row = result.rows.rows[0];
    EXPECT_EQ(row.size, 1000U * 4096);
    EXPECT_EQ(row.used, 600U * 4096);
    EXPECT_EQ(row.growth, 50 * 4096);
    EXPECT_DOUBLE_EQ(*row.growth_rate, 10 * 4096);
    EXPECT_EQ(row.full_in_s, 40U);
    EXPECT_DOUBLE_EQ(*useOf(row), 60);
    EXPECT_DOUBLE_EQ(*inodeUseOf(row), 60);
}

TEST(FsModel, QuietOnesAreCountedOnly) {
    auto result = rowsOf(entryOf(1000, 400), entryOf(1000, 400));
    EXPECT_TRUE(result.rows.rows.empty());
    EXPECT_EQ(result.all.rows.at(0).quiet, 1U);
    result = rowsOf(entryOf(1000, 400), entryOf(1000, 400), true);
    EXPECT_EQ(result.rows.rows.size(), 1U);
    // Nearly full is news, unless nobody can write to it.
    EXPECT_EQ(rowsOf(entryOf(1000, 100), entryOf(1000, 100)).rows.rows.size(), 1U);
    auto image = entryOf(1000, 0);
    image.space.read_only = true;
    EXPECT_TRUE(rowsOf(image, image).rows.rows.empty());
    // What shrinks has a negative growth, and no time until it is full.
    result = rowsOf(entryOf(1000, 400), entryOf(1000, 500));
    EXPECT_EQ(result.rows.rows.at(0).growth, -100 * 4096);
    EXPECT_FALSE(result.rows.rows[0].full_in_s);
}

TEST(FsModel, OneThatRefusesToAnswerIsNotCounted) {
    auto refused = entryOf(0, 0);
    refused.known = false, refused.error = 13;
    const auto result = rowsOf(refused, refused, true);
    ASSERT_EQ(result.rows.rows.size(), 1U);
    EXPECT_EQ(result.rows.rows[0].error, 13U);
    EXPECT_FALSE(result.rows.rows[0].size);
    EXPECT_EQ(result.all.rows.at(0).filesystems, 0U);
    EXPECT_EQ(result.all.rows.at(0).quiet, 0U);
}

TEST(FsModel, WhatDoesNotAnswerSaysSo) {
    auto now = entryOf(1000, 400);
    now.asked_us = 4000000;
    const auto result = rowsOf(entryOf(1000, 400), now);
    ASSERT_EQ(result.rows.rows.size(), 1U);
    EXPECT_EQ(result.rows.rows[0].stuck_us, 6000000U);
    // Another filesystem under the same mount id has no growth yet; one without space has no row.
    auto other = entryOf(1000, 500);
    other.source = "/dev/sdb1";
    EXPECT_FALSE(rowsOf(entryOf(1000, 400), other, true).rows.rows.at(0).growth);
    EXPECT_TRUE(rowsOf(entryOf(0, 0), entryOf(0, 0), true).rows.rows.empty());
}

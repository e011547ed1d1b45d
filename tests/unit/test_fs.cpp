#include "classic/collect/fs.h"

#include "classic/collect/voltext.h"
#include "tests/unit/made.h"
#include "tests/unit/nomemory.h"

#include <gtest/gtest.h>

#include <string>

static mntent entryOf(std::string& dev, std::string& dir, std::string& type) {
    mntent entry{};
    entry.mnt_fsname = dev.data();
    entry.mnt_dir = dir.data();
    entry.mnt_type = type.data();
    return entry;
}

TEST(Filesystem, SizesAreBlocksTimesTheirSize) {
    std::string dev = "/dev/sda1", dir = "/", type = "ext4";
    TFS fs;
    ASSERT_TRUE(getFilesystem(entryOf(dev, dir, type), {4096, 1000, 250, 200, 64, 16}, fs));
    EXPECT_EQ(fs.totalsize, 4096000);
    EXPECT_EQ(fs.freesize, 1024000);
    EXPECT_EQ(fs.availsize, 819200);
    EXPECT_EQ(fs.totalinode, 64);
    EXPECT_EQ(fs.freeinode, 16);
    EXPECT_EQ(fs.bsize, 4096);
    EXPECT_EQ(fs.dev.view(), dev);
    EXPECT_EQ(fs.dir.view(), dir);
    EXPECT_EQ(fs.type.view(), type);
}

TEST(Filesystem, WithoutBlocksItHasNoSpace) {
    std::string dev = "proc", dir = "/proc", type = "proc";
    TFS fs;
    EXPECT_FALSE(getFilesystem(entryOf(dev, dir, type), {4096, 0, 0, 0, 0, 0}, fs));
    EXPECT_FALSE(getFilesystem(entryOf(dev, dir, type), {0, 1000, 0, 0, 5, 5}, fs));
    EXPECT_TRUE(getFilesystem(entryOf(dev, dir, type), {1, 1, 0, 0, 0, 0}, fs));
    ASSERT_TRUE(getFilesystem(entryOf(dev, dir, type), {4096, UINT64_MAX, UINT64_MAX, 0, UINT64_MAX, 0}, fs));
    EXPECT_EQ(fs.totalsize, 4096.0 * 18446744073709551616.0);
    EXPECT_EQ(fs.totalinode, 18446744073709551616.0);
}

TEST(Filesystem, TextsAreCut) {
    for (size_t length : {510U, 511U, 512U, 2000U}) {
        std::string dev(length, 'd'), dir(length, '/'), type(length, 't');
        TFS fs;
        getFilesystem(entryOf(dev, dir, type), {1, 1, 1, 1, 1, 1}, fs);
        EXPECT_EQ(fs.dev.size(), std::min<size_t>(length, 511));
        EXPECT_EQ(fs.dir.size(), std::min<size_t>(length, 511));
        EXPECT_EQ(fs.type.size(), 15U);
    }
}

TEST(Getnameonly, TheLastComponent) {
    static constexpr struct {
        const char* path;
        const char* name;
    } Cases[] = {
        {"", ""},          {"a", "a"},       {"/", "/"},          {"//", "/"},           {"/a", "a"},
        {"a/", "a/"},      {"/a/", "a/"},    {"/dev/sda", "sda"}, {"/dev/sda/", "sda/"}, {"/dev/sda//", "/"},
        {"nfs:/x/y", "y"}, {"none", "none"},
    };
    for (auto& c : Cases) EXPECT_EQ(getnameonly(c.path), c.name) << c.path;
}

// --- Samples

static std::string mounts(const std::string& lines) { return "file /etc/mtab <<END\n" + lines + "END\n"; }

TEST(Fs, WhatCannotBeAskedIsPassedOver) {
    Made machine(mounts("/dev/a / ext4 rw 0 0\nproc /proc proc rw 0 0\nnas:/x /stale nfs rw 0 0\n"
                        "nas:/y /closed nfs rw 0 0\nnas:/z /lost nfs rw 0 0\n/dev/a /again ext4 rw 0 0\n"
                        "/dev/b /with\\040blank ext4 rw 0 0\n/dev/c /missing ext4 rw 0 0\n") +
                 "fs / 1024 10 5 4 3 2\nfs /proc 4096 0 0 0 0 0\nfs /stale 1 1 1 1 1 1\nfail stat /stale ESTALE\n"
                 "fs /closed 1 1 1 1 1 1\nfail open /closed EACCES\nfs /lost 1 1 1 1 1 1\nfail statfs /lost EIO\n"
                 "fs /again 1024 10 5 4 3 2\nfs /with\\sblank 1 2 1 1 0 0\n");
    TFSSlots fs;
    EXPECT_EQ(printed([&] { EXPECT_EQ(getfs(0, 0, 1, 0, fs), 3); }), "");
    EXPECT_EQ(fs.sample[0][0].dir.view(), "/");
    EXPECT_EQ(fs.sample[0][1].dir.view(), "/again") << "the same device twice";
    EXPECT_EQ(fs.sample[0][2].dir.view(), "/with blank");
    EXPECT_EQ(fs.sample[0][2].totalinode, 0) << "kept without inodes";
}

TEST(Fs, WithoutAMountTableThereIsNothing) {
    Made machine("dir /\n");
    TFSSlots fs;
    EXPECT_EQ(printed([&] { EXPECT_EQ(getfs(0, 0, 1, 0, fs), 0); }), "");
}

TEST(Fs, ChangesPerSecond) {
    Made machine(mounts("a /a x rw\nb /b x rw\nc /c x rw\n") + "fs /a 1024 1000 500 400 50 40\n" +
                 "fs /b 1 100 50 40 5 4\nfs /c 1 100 50 40 5 4\nstep 1\nfs /a 1024 1002 498 402 52 39\nstep 2\n" +
                 mounts("a /a x rw\nc /c x rw\n") + "fs /c 1 200 50 40 5 4\nstep 3\n" +
                 mounts("a /a x rw\nc /c x rw\nd /d x rw\n") + "fs /d 1 1 1 1 1 1\nfs /c 1 201 50 40 5 4\n");
    TFSSlots fs;
    getfs(0, 0, 1, 9, fs);
    EXPECT_EQ(fs.result[0].totalsize, 0) << "nothing to compare with";
    machine.step();
    ASSERT_EQ(getfs(1, 1, 0, 2, fs), 3);
    EXPECT_EQ(fs.result[0].totalsize, 1024);
    EXPECT_EQ(fs.result[0].freesize, -1024);
    EXPECT_EQ(fs.result[0].availsize, 1024);
    EXPECT_EQ(fs.result[0].totalinode, 1);
    EXPECT_EQ(fs.result[0].freeinode, -0.5);
    EXPECT_EQ(fs.result[1].totalsize, 0);
    machine.step();
    ASSERT_EQ(getfs(2, 0, 1, 1, fs), 2);
    ASSERT_EQ(fs.result.size(), 2U);
    EXPECT_EQ(fs.result[1].totalsize, 0) << "another directory at this position";
    machine.step();
    ASSERT_EQ(getfs(3, 1, 0, 1, fs), 3);
    EXPECT_EQ(fs.result[1].totalsize, 1);
    EXPECT_EQ(fs.result[2].totalsize, 0) << "beyond the sample before";
    ASSERT_EQ(getfs(4, 0, 1, 0, fs), 3);
    EXPECT_EQ(fs.result[1].totalsize, 0) << "no time has passed";
}

// --- No memory

TEST(Fs, WithoutMemoryThereAreNoRows) {
    NEEDS_ITS_HEAP();
    constexpr size_t Most = 500;
    std::string lines;
    for (size_t i = 0; i < Most; i++) lines += "a /a x rw\n";
    Made machine(mounts(lines) + "fs /a 1024 1000 500 400 50 40\n");
    TFSSlots fs;
    getfs(0, 0, 1, 0, fs);
    EXPECT_EQ(printed([&] {
                  EXPECT_TRUE(withoutMemory(
                      8192, [&] { return getfs(1, 1, 0, 1, fs) == 0 && fs.sample[1].empty() && fs.result.empty(); }));
                  fs.sample[1].reserve(Most);
                  fs.result = std::vector<decltype(fs.result)::value_type>(); // without its capacity
                  EXPECT_TRUE(withoutMemory(8192, [&] {
                      return getfs(1, 1, 0, 1, fs) == 0 && fs.sample[1].size() == Most && fs.result.empty();
                  }));
              }),
              "");
}

// What the real door says of the machine: mounts, constants, accounts, clock and pause.
#include "base/door.h"

#include "tests/door/system.h"

#include <cerrno>
#include <chrono>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

TEST_F(System, MountTables) {
    const auto name = made("mtab", "# a comment\n\n/dev/sda1 /a\\040b ext4 rw,relatime 0 1\n"
                                   "server:/x\t/mnt/y\\011z nfs rw 0 0\nshort\n");
    MountTable table;
    ASSERT_TRUE(table.open(name.c_str()));
    const mntent* entry = table.next();
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(entry->mnt_fsname, "/dev/sda1");
    EXPECT_STREQ(entry->mnt_dir, "/a b");
    EXPECT_STREQ(entry->mnt_type, "ext4");
    entry = table.next();
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(entry->mnt_dir, "/mnt/y\tz");
    ASSERT_NE(table.next(), nullptr); // for a line with one word the other fields are empty
    EXPECT_EQ(table.next(), nullptr);
    EXPECT_FALSE(table.open(path("missing").c_str()));
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(System, SpaceOfAFilesystem) {
    TSpace space;
    ASSERT_EQ(getSpace(folder.c_str(), space), SpaceAnswer::Ok);
    EXPECT_GE(space.bsize, 512);
    EXPECT_GE(space.blocks, space.bfree);
    EXPECT_EQ(getSpace(path("missing").c_str(), space), SpaceAnswer::StatFailed);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(System, Constants) {
    EXPECT_EQ(getPageSize(), sysconf(_SC_PAGESIZE));
    EXPECT_EQ(getClockTicks(), sysconf(_SC_CLK_TCK));
    char name[64] = {}, expected[64] = {};
    ASSERT_EQ(gethostname(expected, sizeof expected), 0);
    EXPECT_TRUE(getHostName(name, sizeof name));
    EXPECT_STREQ(name, expected);
    char small[1] = {'#'};
    EXPECT_FALSE(getHostName(small, sizeof small)); // no room
}

TEST_F(System, Accounts) {
    std::string name = "kept";
    EXPECT_FALSE(getUserName(4123456789U, name));
    EXPECT_EQ(name, "kept");
    ASSERT_TRUE(getUserName(0, name));
    EXPECT_EQ(name, "root");
}

TEST_F(System, ClockAndPause) {
    const auto before = std::chrono::system_clock::now();
    const auto stamp = getClock();
    const auto after = std::chrono::system_clock::now();
    const auto seconds = [](auto time) { return std::chrono::duration<double>(time.time_since_epoch()).count(); };
    EXPECT_GE(stamp.value(), seconds(before) - 0.001);
    EXPECT_LE(stamp.value(), seconds(after));
    EXPECT_GE(stamp.millis, 0);
    EXPECT_LE(stamp.millis, 999);
    const auto start = std::chrono::steady_clock::now();
    pauseFor(30000);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

// Lines of /proc/diskstats, as the classic form reads them.
#include "classic/collect/disk.h"

#include <gtest/gtest.h>

#include <string>

TEST(DiskLine, Full) {
    TDisk d;
    d.name = "before";
    ASSERT_TRUE(getDiskLine("   8       0 sda 1 2 3 4 5 6 7 8 9 10 11\n", d));
    EXPECT_EQ(d.name.view(), "sda");
    EXPECT_EQ(d.major, 8);
    EXPECT_EQ(d.minor, 0);
    EXPECT_EQ(d.rxfers, 1);
    EXPECT_EQ(d.rbytes, 3 * 512);
    EXPECT_EQ(d.rtime, 4);
    EXPECT_EQ(d.wxfers, 5);
    EXPECT_EQ(d.wbytes, 7 * 512);
    EXPECT_EQ(d.wtime, 8);
    EXPECT_EQ(d.curq, 9);
    EXPECT_EQ(d.time, 10);
    EXPECT_EQ(d.avgq, 11);
}

TEST(DiskLine, Partition) {
    TDisk d;
    d.time = d.rtime = d.wtime = d.curq = d.avgq = 9;
    ASSERT_TRUE(getDiskLine("   8       1 sda1 1 2 3 4\n", d));
    EXPECT_EQ(d.name.view(), "sda1");
    EXPECT_EQ(d.minor, 1);
    EXPECT_EQ(d.rxfers, 1);
    EXPECT_EQ(d.rbytes, 2 * 512);
    EXPECT_EQ(d.wxfers, 3);
    EXPECT_EQ(d.wbytes, 4 * 512);
    EXPECT_EQ(d.time + d.rtime + d.wtime + d.curq + d.avgq, 0);
}

TEST(DiskLine, OnlySevenOrFourteenWords) {
    for (int count = 0; count < 40; count++) {
        std::string line;
        for (int i = 0; i < count; i++) line.append(" ").append(std::to_string(i + 1));
        TDisk d;
        EXPECT_EQ(getDiskLine(line, d), count == 7 || count == 14) << count;
        EXPECT_EQ(getDiskLine(line + "\n", d), count == 7 || count == 14) << count;
        // A blank before the newline makes it a word of its own.
        EXPECT_EQ(getDiskLine(line + " \n", d), count + 1 == 7 || count + 1 == 14) << count;
        EXPECT_EQ(getDiskLine(line + "   ", d), count == 7 || count == 14) << count;
    }
}

TEST(DiskLine, NewlineAsTheLastCounter) {
    TDisk d;
    ASSERT_TRUE(getDiskLine("8 1 sda1 1 2 3 \n", d));
    EXPECT_EQ(d.wbytes, 0);
}

TEST(DiskLine, TabsAreNoBlanks) {
    TDisk d;
    EXPECT_FALSE(getDiskLine("8\t1\tsda1\t1\t2\t3\t4\n", d));
    ASSERT_TRUE(getDiskLine("8 1 sd\ta1 1 2 3 4\n", d));
    EXPECT_EQ(d.name.view(), "sd\ta1");
}

TEST(DiskLine, IdleDevicesAreNotKept) {
    TDisk d;
    d.name = "before";
    EXPECT_FALSE(getDiskLine("8 0 sda 0 2 3 4 0 6 7 8 9 10 11\n", d));
    EXPECT_FALSE(getDiskLine("8 0 sda1 0 2 0 4\n", d));
    EXPECT_FALSE(getDiskLine("8 0 sda1 -5 2 5 4\n", d));
    EXPECT_EQ(d.name.view(), "before"); // nothing was set
    EXPECT_TRUE(getDiskLine("8 0 sda1 0 0 1 0\n", d));
}

TEST(DiskLine, NamesAreCut) {
    for (size_t length : {62U, 63U, 64U, 65U, 200U}) {
        TDisk d;
        ASSERT_TRUE(getDiskLine(std::string("8 0 ").append(length, 'n').append(" 1 2 3 4\n"), d));
        EXPECT_EQ(d.name.size(), std::min<size_t>(length, 63)) << length;
    }
}

TEST(DiskLine, NumbersAsTheCLibraryReadsThem) {
    TDisk d;
    ASSERT_TRUE(getDiskLine("4294967304x -1 sda1 99999999999999999999 -99999999999999999999 1 x\n", d));
    EXPECT_EQ(d.major, 8);
    EXPECT_EQ(d.minor, -1);
    EXPECT_EQ(d.rxfers, 9223372036854775807.0);
    EXPECT_EQ(d.rbytes, -9223372036854775808.0 * 512);
    EXPECT_EQ(d.wbytes, 0);
}

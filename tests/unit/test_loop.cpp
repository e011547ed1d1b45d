#include "classic/monitor/loop.h"

#include "tests/unit/made.h"

#include <gtest/gtest.h>

#include <string>

// The pause is the work's seconds times (100 / percent - 1).
TEST(Loop, RatioPause) {
    EXPECT_EQ(getRatioPause(0.5, 50), 500000U);
    EXPECT_EQ(getRatioPause(0.25, 20), 1000000U);
    EXPECT_EQ(getRatioPause(2.0, 80), 500000U);
    EXPECT_EQ(getRatioPause(0.125, 1), 10000000U); // 12.375 s
}

TEST(Loop, RatioPauseHasAFloor) {
    EXPECT_EQ(getRatioPause(0.0, 50), 100000U);
    EXPECT_EQ(getRatioPause(0.01, 50), 100000U);
    EXPECT_EQ(getRatioPause(0.0999995, 50), 100000U); // 99999 microseconds
    EXPECT_EQ(getRatioPause(0.1000015, 50), 100001U);
    EXPECT_EQ(getRatioPause(1.0, 100), 100000U); // the formula gives 0
}

TEST(Loop, RatioPauseHasACeiling) {
    EXPECT_EQ(getRatioPause(9.999999, 50), 9999999U);
    EXPECT_EQ(getRatioPause(10.0, 50), 10000000U);
    EXPECT_EQ(getRatioPause(10.0000015, 50), 10000000U);
    EXPECT_EQ(getRatioPause(100.0, 50), 10000000U);
}

// A negative pause counts as a huge one. It results from a share above 100 % or a clock that was set back.
TEST(Loop, NegativePauseIsTheLongest) {
    EXPECT_EQ(getRatioPause(0.5, 200), 10000000U);
    EXPECT_EQ(getRatioPause(0.00001, 101), 100000U); // less than a microsecond, so 0
    EXPECT_EQ(getRatioPause(0.001, 101), 10000000U);
    EXPECT_EQ(getRatioPause(-5.0, 50), 10000000U);
}

// Only the low 32 bits of the pause count.
TEST(Loop, PauseWrapsIn32Bits) {
    EXPECT_EQ(getRatioPause(4294.967296, 50), 100000U);
    EXPECT_EQ(getRatioPause(4295.467296, 50), 500000U);
    EXPECT_EQ(getRatioPause(1e300, 50), 100000U); // does not fit into 64 bits: becomes INT64_MIN, whose low bits are 0
}

// The host's time zone may change during a run. The next interval shows times in the new zone.
TEST(Loop, FollowsTheTimeZone) {
    Made machine("clock 1457359509.000\ndir /proc/1/fdinfo\ndir /proc/1/io\ndir /proc/vmstat\ndir /proc/diskstats\n"
                 "dir /proc/meminfo\ndir /proc/stat\nstep 1\nstep 2\n");
    int passes = 0;
    machine.world.watch = [&](const std::string& path) {
        if (path == "/proc/stat" && ++passes == 2) setenv("TZ", "KST-9", 1);
    };
    const auto out = apart([] {
        std::string words[] = {"wyrt", "-r", "-c", "2"};
        char* argv[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(), nullptr};
        optind = 0;
        monitor(4, argv);
    });
    EXPECT_NE(out.find("TIME : 16.03.07 14:05:11.000 [1457359511/#1]\n"), out.npos) << out;
    EXPECT_NE(out.find("TIME : 16.03.07 23:05:13.000 [1457359513/#2]\n"), out.npos) << out;
}

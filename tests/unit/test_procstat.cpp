// Fields of /proc/PID/stat as the classic form reads them.
#include "classic/collect/proclines.h"
#include "tests/unit/proctable.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

TEST_F(Processes, StatFieldsByTheirNumbers) {
    TProc p;
    ASSERT_TRUE(getStat(TStatLine(statOf("77")), p));
    EXPECT_EQ(p.pid, 77);
    EXPECT_EQ(p.cmd.view(), "app");
    EXPECT_EQ(p.status, 'S');
    EXPECT_EQ(p.ppid, 1);
    EXPECT_EQ(p.minfault, 10);
    EXPECT_EQ(p.majfault, 12);
    EXPECT_EQ(p.usr, 14);
    EXPECT_EQ(p.sys, 15);
    EXPECT_EQ(p.threadcnt, 1);
    EXPECT_EQ(p.STime, 1000022); // 2250 ticks, rounded down
    EXPECT_EQ(p.VmSize, 1024);
    EXPECT_EQ(p.VmRSS, 96);
}

TEST_F(Processes, StatLinesOfEveryLength) {
    std::string line = "1";
    for (int fields = 1; fields <= 62; fields++) {
        const std::string text = line + "\n";
        const TStatLine stat(text);
        EXPECT_EQ(stat.count(), std::min(fields, 60)) << line;
        TProc p;
        TThreadInfo t;
        EXPECT_EQ(getStat(stat, p), fields >= 22) << fields;
        EXPECT_EQ(getThreadStat(stat, t), fields > 22) << fields;
        EXPECT_EQ(p.VmSize > 0, fields >= 23) << fields;
        EXPECT_EQ(p.VmRSS > 0, fields >= 24) << fields;
        line.append(" ").append(std::to_string((fields + 1) * 1024));
    }
}

TEST_F(Processes, StatTextsThatAreNoLine) {
    const struct {
        std::string text;
        int fields;
    } cases[] = {{"", 1},
                 {"\n", 1},
                 {" ", 2},
                 {"   \n", 4},
                 {"a b", 2},
                 {"a  b\nc d", 3},
                 {std::string("a b\0c d e", 9), 2},
                 {std::string(600, ' '), 60},
                 {std::string(509, 'x') + " b c", 2}, // 511 characters are read: a blank, and "b"
                 {std::string(510, 'x') + " b c", 2}, // the blank is the last of them: an empty field
                 {std::string(511, 'x') + " b c", 1}};
    for (auto& c : cases) EXPECT_EQ(TStatLine(c.text).count(), c.fields) << c.text;
    EXPECT_EQ(TStatLine(std::string(509, 'x') + " bcd").text(2), "b");
    EXPECT_EQ(TStatLine(std::string(510, 'x') + " bcd").text(2), "");
}

TEST_F(Processes, CommandNames) {
    const struct {
        std::string field;
        std::string name;
    } cases[] = {{"(a)", "a"},
                 {"()", ""},
                 {"x", ""},
                 {"", ""},
                 {"((sd-pam))", "(sd-pam)"},
                 {"(Web Content)", "We"}, // up to the blank, without its last character (normally the bracket)
                 {"( lead)", ""},
                 {"(" + std::string(63, 'n') + ")", std::string(63, 'n')},
                 {"(" + std::string(64, 'n') + ")", std::string(63, 'n')},
                 {"(\xff\x1b[m)", "\xff\x1b[m"}};
    for (auto& c : cases) {
        TProc p;
        std::string line = "1 " + c.field + " S 1";
        for (int i = 5; i <= 30; i++) line += " 1";
        ASSERT_TRUE(getStat(TStatLine(line), p));
        EXPECT_EQ(p.cmd.view(), c.name) << c.field;
    }
}

TEST_F(Processes, SmallOrUnknownPagesGiveNoMemory) {
    for (int size : {4095, 4096, 65536}) {
        pagesize = size;
        TProc p;
        getStat(TStatLine(statOf("1")), p);
        EXPECT_EQ(p.VmRSS, size < 4096 ? 0 : size / 1024.0 * 24);
    }
}

TEST_F(Processes, StartTimesAreDividedAsWholeNumbers) {
    g_boottime = 0;
    const auto start = [](const std::string& ticks) {
        return TStatLine("1 (app) S 1 2 3 0 -1 4 10 11 12 13 14 15 16 17 20 0 1 0 " + ticks + " 23 24\n").startTime();
    };
    EXPECT_EQ(start("199"), 1);
    EXPECT_EQ(start("-199"), -1);
    EXPECT_EQ(start("9223372036854775807"), 92233720368547758);
}

TEST_F(Processes, ExtremeStartTimesWrap) {
    constexpr auto Most = std::numeric_limits<int64_t>::max();
    g_boottime = Most;
    EXPECT_EQ(TStatLine(statOf("1")).startTime(), std::numeric_limits<int64_t>::min() + 21);
    clocktick = 0;
    EXPECT_EQ(TStatLine(statOf("1")).startTime(), Most);
}

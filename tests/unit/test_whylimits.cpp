// The table of rules, limits as they are typed and shown, and the manual.
#include "why/limits.h"

#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

TEST(WhyLimits, AreReadWithTheirUnits) {
    const struct {
        const char* text;
        Rule rule;
        double value;
    } Cases[] = {
        {"disk.wait=50ms", Rule::DiskWait, 50},           {"disk.wait=50", Rule::DiskWait, 50},
        {"disk.wait=1.5s", Rule::DiskWait, 1500},         {"disk.wait=500us", Rule::DiskWait, 0.5},
        {"mem.available=10%", Rule::MemoryAvailable, 10}, {"fs.full_in=30m", Rule::FsFullIn, 1800},
        {"fs.full_in=2d", Rule::FsFullIn, 172800},        {"mem.swap=8MB/s", Rule::MemorySwap, 8388608},
        {"mem.swap=1G", Rule::MemorySwap, 1073741824},    {"forks.rate=1000/s", Rule::ForksRate, 1000},
        {"blocked.tasks=0", Rule::BlockedTasks, 0},       {"cpu.stall=1 cpu.stall=2 disk.wait=3", Rule::CpuStall, 2},
        {"  cpu.stall=7  ", Rule::CpuStall, 7},
    };
    for (auto& c : Cases) {
        Limits limits;
        EXPECT_EQ(limits.set(c.text), "") << c.text;
        EXPECT_EQ(limits[c.rule], c.value) << c.text;
    }
    Limits limits;
    EXPECT_EQ(limits.set(""), "");
    for (auto& rule : rules()) EXPECT_EQ(limits[rule.rule], rule.usual);
}

TEST(WhyLimits, WhatIsNoLimit) {
    EXPECT_EQ(Limits().set("disk.wiat=5"), "there is no limit 'disk.wiat'; the nearest is disk.wait");
    EXPECT_EQ(Limits().set("disk\x1b]0;x\x07.wait=5"), "there is no limit 'disk?]0;x?.wait'; the nearest is disk.wait");
    EXPECT_EQ(Limits().set("disk.wait=\x1b[2J"), "the limit 'disk.wait=?[2J' is not like disk.wait=50ms");
    EXPECT_EQ(Limits().set("disk.wait=x"), "the limit 'disk.wait=x' is not like disk.wait=50ms");
    for (const char* text : {"disk.wait", "disk.wait=", "disk.wait=-1", "disk.wait=5%", "disk.wait=5 ms",
                             "disk.wait=nan", "disk.wait=inf", "mem.available=5s", "blocked.tasks=5x", "mem.swap=5ms",
                             "fs.full_in=4x", "forks.rate=5%", "=5", "disk.wait=1e999", "disk.wait==5"})
        EXPECT_NE(Limits().set(text), "") << text;
}

TEST(WhyLimits, BothSides) {
    const Limits limits;
    EXPECT_TRUE(limits.isBeyond(Rule::DiskWait, 20));
    EXPECT_FALSE(limits.isBeyond(Rule::DiskWait, 19.9));
    EXPECT_TRUE(limits.isBeyond(Rule::MemoryAvailable, 5));
    EXPECT_FALSE(limits.isBeyond(Rule::MemoryAvailable, 5.1));
    EXPECT_EQ(limits.nearness(Rule::DiskWait, 10), 50);
    EXPECT_EQ(limits.nearness(Rule::MemoryAvailable, 10), 50);
    EXPECT_EQ(limits.nearness(Rule::MemoryAvailable, 0), 100);
    EXPECT_EQ(valueText(Rule::DiskWait, 41.23), "41.2 ms");
    EXPECT_EQ(valueText(Rule::FsFullIn, 3420), "57m");
    EXPECT_EQ(valueText(Rule::MemorySwap, 4194304), "4.0MB/s");
    EXPECT_EQ(valueText(Rule::ForksRate, 2902), "2902/s");
    EXPECT_EQ(valueText(Rule::CpuStall, 78), "78.0%");
    EXPECT_EQ(limitText(Rule::FsFullIn, 14400), "4h");
    EXPECT_EQ(limitText(Rule::DiskWait, 20), "20");
    EXPECT_EQ(limitText(Rule::DiskWait, 0.5), "0.5");
    EXPECT_EQ(findRule("disk.wait")->rule, Rule::DiskWait);
    EXPECT_EQ(findRule("disk"), nullptr);
}

static std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : text) result += c == '-' ? std::string("\\-") : std::string(1, c);
    return result;
}

// "20 ms", "5%", "4h": the usual limit as the manual has it.
static std::string usualText(const RuleText& rule) {
    const auto text = limitText(rule.rule, rule.usual);
    switch (rule.measure) {
    case Measure::Percent:
        return text + "%";
    case Measure::PerSecond:
        return text + "/s";
    case Measure::Milli:
        return text + " ms";
    case Measure::BytesPerTime:
        return text + "B/s";
    case Measure::Span:
    case Measure::Count:
        break;
    }
    return text;
}

// Each rule has an entry: its name and usual limit, then what is measured, then when something else is used.
TEST(WhyLimits, TheManualHasEveryRule) {
    std::ifstream file("docs/wyrt-why.7");
    std::ostringstream text;
    text << file.rdbuf();
    const auto start = text.str().find("\n.SH RULES\n"), end = text.str().find("\n.SH ", start + 1);
    ASSERT_NE(start, std::string::npos);
    std::string expected;
    for (auto& rule : rules()) {
        expected += ".TP\n.BR " + std::string(rule.name) + " \" (" + (rule.below ? "at most " : "") + usualText(rule) +
                    ")\"\n" + escaped(rule.figure) + "\n";
        if (!rule.otherwise.empty()) expected += "(" + escaped(rule.otherwise) + ")\n";
    }
    const auto section = text.str().substr(start, end - start) + "\n";
    const auto list = section.find(".TP\n");
    EXPECT_EQ(section.substr(list), expected);
}

// Totals that outlive the program: they are written, read back, and go on where they were.
#include "record/crc.h"
#include "tests/unit/serieslog.h"

#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

static std::string longLog(uint64_t intervals) {
    SeriesLog log;
    std::mt19937 random(3);
    for (uint64_t n = 0; n < intervals; n++) {
        for (int i = 0; i < 30; i++) log.process("c" + std::to_string(random() % 60), random() % 1000000);
        if (random() % 3) log.disk("sda", random() % 100);
        log.disk("hostile,\"\\\n\xff name", 1);
        log.end();
    }
    return log.text;
}

// Whatever the interval at which it was ended, a program that loads its totals prints what the first would have.
TEST(Totals, GoOnWhereTheyWere) {
    const auto log = longLog(20);
    SeriesChoice choice;
    choice.top = 3;
    Kept whole(choice);
    give(log, whole);
    for (const size_t cut : {1U, 2U, 7U, 19U, 20U}) {
        Kept first(choice), second(choice);
        give(log, first, cut);
        const auto text = totalsText(first.totals());
        const auto totals = parseTotals(text);
        ASSERT_TRUE(totals) << text;
        ASSERT_TRUE(second.take(*totals));
        EXPECT_EQ(totalsText(second.totals()), text);
        give(log, second); // the log from its begin: what was counted is not counted again
        auto points = first.points;
        points.insert(points.end(), second.points.begin(), second.points.end());
        EXPECT_EQ(points, whole.points) << cut;
    }
}

TEST(Totals, ANewRunIsCounted) {
    SeriesLog old("db7", "old");
    old.disk("sda", 5);
    old.end();
    old.disk("sda", 5);
    old.end();
    Kept first, second;
    give(old.text, first);
    ASSERT_TRUE(second.take(*parseTotals(totalsText(first.totals()))));
    SeriesLog other("db7", "other"); // its first two intervals end no later than those: the clock was set back
    for (int i = 0; i < 4; i++) {
        other.disk("sda", 100);
        other.end();
    }
    give(other.text, second);
    EXPECT_EQ(second.values["disk{host=db7,disk=sda} reads"], 410);
}

// A restart knows as much as the program before it: what the last run has not shown is gone, the rest is repeated.
TEST(Totals, WhatTheLastRunHasShownIsRepeated) {
    SeriesLog old("db7", "old"), next("db7", "next");
    for (auto name : {"busy", "idle", "gone"}) old.disk(name, 1);
    old.end();
    for (auto name : {"busy", "idle"}) next.disk(name, 1);
    next.end(60000);
    Kept first;
    give(old.text + next.text, first);
    const auto totals = parseTotals(totalsText(first.totals()));
    ASSERT_TRUE(totals);
    for (int i = 0; i < 3; i++) {
        next.disk("busy", 1);
        next.end(60000);
    }
    for (const auto& log : {next.text, old.text + next.text}) { // `push` reads some time before what it has sent
        Kept second;
        ASSERT_TRUE(second.take(*totals));
        give(log, second);
        EXPECT_EQ(pointsOf(second, "disk{host=db7,disk=busy} reads"), 3U);
        EXPECT_EQ(pointsOf(second, "disk{host=db7,disk=idle} reads"), 3U);
        EXPECT_EQ(pointsOf(second, "disk{host=db7,disk=gone} reads"), 0U);
    }
}

TEST(Totals, TheTextIsTheSameWithoutThem) {
    SeriesLog a("a"), b("b");
    for (auto* log : {&a, &b}) {
        log->disk("sda", 1).holds = "x,y";
        log->disk("sdb", 0);
        log->process("c", 3);
        log->end();
        log->disk("sdb", 4).holds = "z";
        log->end();
    }
    Kept kept;
    EXPECT_EQ(kept.savedText(), totalsText(kept.totals()));
    give(a.text, kept);
    give(b.text, kept);
    EXPECT_EQ(kept.savedText(), totalsText(kept.totals()));
    EXPECT_TRUE(parseTotals(kept.savedText()));
}

TEST(Totals, OfOtherSeriesAreRefused) {
    Kept kept;
    give(longLog(1), kept);
    const auto totals = kept.totals();
    SeriesChoice choice;
    choice.by = "user";
    EXPECT_FALSE(Kept(choice).take(totals));
    choice.by = "command", choice.rows = true;
    EXPECT_FALSE(Kept(choice).take(totals));
    EXPECT_TRUE(Kept().take(totals));
}

TEST(Totals, DamageIsSeen) {
    Kept kept;
    give(longLog(2), kept);
    const auto text = totalsText(kept.totals());
    ASSERT_TRUE(parseTotals(text));
    for (size_t size = 0; size < text.size(); size++) EXPECT_FALSE(parseTotals(text.substr(0, size))) << size;
    for (size_t at = 0; at < text.size(); at++) {
        auto changed = text;
        changed[at] = static_cast<char>(changed[at] ^ 1);
        EXPECT_FALSE(parseTotals(changed)) << at;
    }
    EXPECT_FALSE(parseTotals("\nEND,"));
    EXPECT_FALSE(parseTotals("#wyrt-totals,1,\nEND,0,\n"));
}

// A text whose checksum is right, and which no program has written.
static std::string forged(const std::string& lines, size_t count) {
    const auto text = "#wyrt-totals,1,kept command\n" + lines + "END," + std::to_string(count);
    char sum[16];
    snprintf(sum, sizeof sum, ",%08x\n", crc32c(text));
    return text + sum;
}

TEST(Totals, TimesThatNoLogHasAreDamage) {
    const auto host = [](const char* time) { return forged("HOST,db7," + std::string(time) + ",0\n", 1); };
    EXPECT_TRUE(parseTotals(host("1795266310000")));
    EXPECT_TRUE(parseTotals(host(std::to_string(SeriesFormat::Never).c_str())));
    EXPECT_FALSE(parseTotals(host("-9223372036854775808")));
    EXPECT_FALSE(parseTotals(host("9223372036854775807")));
    EXPECT_FALSE(parseTotals(forged("HOST,db7,0,9223372036854775807\n", 1)));
    EXPECT_FALSE(parseTotals(forged("HOST,db7,0,0\nRUN,run,9223372036854775807,1-2\n", 2)));
    const std::string things = "HOST,db7,0,0\nTHING,DISK,0,0,";
    EXPECT_TRUE(parseTotals(forged(things + "5,6,key,,reads=1\n", 2)));
    EXPECT_FALSE(parseTotals(forged(things + "-9223372036854775808,6,key,,reads=1\n", 2)));
    EXPECT_FALSE(parseTotals(forged(things + "5,9223372036854775807,key,,reads=1\n", 2)));
}

TEST(Totals, RunsAreReadBack) {
    const std::string host = "HOST,db7,5,-1\n";
    for (const std::string good : {"RUN,run,5,1-1\n", "RUN,,5,0-7,9-9,18446744073709551615-18446744073709551615\n"}) {
        const auto totals = parseTotals(forged(host + good, 2));
        ASSERT_TRUE(totals) << good;
        EXPECT_EQ(totalsText(*totals), forged(host + good, 2));
    }
    for (const std::string bad : {"RUN,run,5\n", "RUN,run,5,1\n", "RUN,run,5,2-1\n", "RUN,run,5,1-2,3-4\n",
                                  "RUN,run,5,1-2,2-4\n", "RUN,run,5,7-8,1-2\n", "RUN,run,5,1-2-3\n"})
        EXPECT_FALSE(parseTotals(forged(host + bad, 2))) << bad;
    EXPECT_FALSE(parseTotals(forged("RUN,run,5,1-1\n" + host, 2))) << "a run of no host";
    std::string runs, spans = "RUN,run,5";
    for (size_t i = 0; i <= MostRuns; i++) runs += "RUN,run" + std::to_string(i) + ",5,1-1\n";
    for (size_t i = 0; i <= SeenRun::MostSpans; i++) spans += "," + std::to_string(2 * i) + "-" + std::to_string(2 * i);
    EXPECT_FALSE(parseTotals(forged(host + runs, MostRuns + 2)));
    EXPECT_FALSE(parseTotals(forged(host + spans + "\n", 2)));
}

// More runs than are known: what is forgotten is not counted again.
TEST(Totals, ManyRuns) {
    std::string log;
    for (size_t i = 0; i < 3 * MostRuns; i++) {
        SeriesLog run("db7", "run" + std::to_string(i));
        run.disk("sda", 1);
        run.end(10000 * static_cast<int64_t>(i + 1));
        log += run.text;
    }
    Kept first, second;
    give(log, first);
    const auto totals = first.totals();
    ASSERT_EQ(totals.hosts[0].runs.size(), MostRuns);
    ASSERT_TRUE(second.take(totals));
    give(log, second);
    EXPECT_EQ(second.points, std::vector<std::string>());
}

TEST(Totals, AnyNameIsReadBack) {
    const auto totals = parseTotals(forged("HOST,db7,0,0\nTHING,DISK,0,0,5,6,key,,a\\x3Db\\x2C=1\n", 2));
    ASSERT_TRUE(totals);
    EXPECT_EQ(totals->things[0].totals[0].first, "a=b,");
    const auto text = totalsText(*totals);
    ASSERT_TRUE(parseTotals(text)) << text;
    EXPECT_EQ(totalsText(*parseTotals(text)), text);
}

TEST(Totals, AnInfoIsNoThing) {
    SeriesLog log;
    log.disk("sda", 5);
    log.end();
    Kept kept;
    give(log.text, kept);
    auto totals = kept.totals();
    ASSERT_EQ(totals.things.size(), 2U); // the disk and its info
    for (auto& thing : totals.things) thing.info = !thing.info;
    totals.hosts[0].runs.clear(), totals.hosts[0].over_ms = 0;
    Kept other;
    ASSERT_TRUE(other.take(totals));
    give(log.text, other); // as if nothing had been kept
    EXPECT_EQ(other.values, kept.values);
}

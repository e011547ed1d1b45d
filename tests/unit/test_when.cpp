// Points in time as people write them.
#include "base/when.h"

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include <ctime>

namespace {
// The zone of one test.
class Zone {
    std::string before;
    bool was = false;

public:
    explicit Zone(const char* zone) {
        if (const char* old = getenv("TZ")) before = old, was = true;
        setenv("TZ", zone, 1);
        tzset();
    }
    Zone(const Zone&) = delete;
    Zone& operator=(const Zone&) = delete;
    ~Zone() {
        if (was) setenv("TZ", before.c_str(), 1);
        else unsetenv("TZ");
        tzset();
    }
};
} // namespace

static constexpr int64_t Now = 1795266310000; // Saturday 2026-11-21 13:05:10 UTC, 14:05:10 in CET
static constexpr int64_t Hour = 3600000, Minute = 60000;

TEST(When, EveryForm) {
    const Zone zone("CET-1");
    const int64_t midnight = Now - 14 * Hour - 5 * Minute - 10000;
    const struct {
        const char* text;
        int64_t time;
    } Cases[] = {
        {"now", Now},
        {"14:05", Now - 10000},
        {"14:05:10", Now},
        {"14:05:10.5", Now + 500 - 24 * Hour}, // still to come: yesterday's
        {"9:00", midnight + 9 * Hour},
        {"23:59", midnight - Minute},
        {"2026-11-21", midnight},
        {"2026-11-20", midnight - 24 * Hour},
        {"2026-11-21 14:05", Now - 10000},
        {"2026-11-21T14:05:10", Now},
        {"2026-11-21 14:05:10.25", Now + 250},
        {"2026-11-21T14:05:10.000+01:00", Now},
        {"2026-11-21T13:05:10.123Z", Now + 123},
        {"2026-11-21T08:35:10-04:30", Now},
        {"-10m", Now - 10 * Minute},
        {"-90", Now - 90000},
        {"-1.5h", Now - 90 * Minute},
        {"10 min ago", Now - 10 * Minute},
        {"10min ago", -1},
        {"10m ago", Now - 10 * Minute},
        {"2 hours ago", Now - 2 * Hour},
        {"1 day ago", Now - 24 * Hour},
        {"30 seconds ago", Now - 30000},
        {"30 s ago", Now - 30000},
        {"today", midnight},
        {"yesterday", midnight - 24 * Hour},
        {"yesterday 14:05", Now - 10000 - 24 * Hour},
        {"today 15:00", midnight + 15 * Hour},
        {"@1795266641", 1795266641000},
        {"@1795266641.5", 1795266641500},
        {"@0", 0},
    };
    for (auto& c : Cases) {
        const auto time = parseWhen(c.text, Now);
        EXPECT_EQ(time.value_or(-1), c.time) << c.text;
    }
}

TEST(When, WhatIsNoTime) {
    for (const char* text : {"",
                             " ",
                             "14",
                             "14:5",
                             "24:00",
                             "14:60",
                             "14:05:61",
                             "14:05:10.",
                             "14:05x",
                             "x",
                             "2026-13-01",
                             "2026-00-01",
                             "2026-11-32",
                             "2026-11-00",
                             "26-11-21",
                             "2026-11-21 ",
                             "2026-11-21x14:05",
                             "2026-11-21 14:05:10+0100",
                             "--10m",
                             "-",
                             "-10x",
                             "- 10m",
                             "ago",
                             "10 ago ago",
                             "10 min ago x",
                             "10 miles ago",
                             "-10 min ago",
                             "today 25:00",
                             "today x",
                             "todayx",
                             "yesterday 14:05 x",
                             "@",
                             "@x",
                             "@-1",
                             "@+1",
                             "@1.",
                             "@1.x",
                             "@99999999999999999999",
                             "tomorrow",
                             "14:05:10.5.5",
                             "2026-11-21T14:05:10+24:00"})
        EXPECT_FALSE(parseWhen(text, Now)) << text;
}

// Clocks change in the night before 2026-10-25 03:00.
TEST(When, DaysOfOtherLengths) {
    const Zone zone("CET-1CEST,M3.5.0,M10.5.0/3");
    const int64_t noon = 1792926000000; // 2026-10-25 12:00 CET = 11:00 UTC
    EXPECT_EQ(parseWhen("2026-10-25 12:00", noon), noon);
    EXPECT_EQ(parseWhen("yesterday 12:00", noon), noon - 25 * Hour);
    EXPECT_EQ(parseWhen("today", noon), noon - 13 * Hour);
    EXPECT_EQ(parseWhen("2026-10-25T12:00:00+02:00", noon), noon - Hour);
}

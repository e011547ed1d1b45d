// The first line of an interval, and the line of pressure: what finds no room goes as a whole.
#include "view/areas.h"
#include "view/memory.h"

#include <gtest/gtest.h>

static Interval machine() {
    Interval interval;
    interval.time = {1795266310000, 60};
    interval.number = 31;
    interval.elapsed_us = 2000000;
    auto& host = interval.host.rows.emplace_back();
    host.kernel = "6.1.0-27-amd64";
    host.cpus = 16, host.memory = 67430400000, host.uptime_s = 41 * 86400;
    interval.self.elapsed_us = 2000000;
    auto& self = interval.self.rows.emplace_back();
    self.cpu_us = 6000;
    return interval;
}

static std::string top(const Interval& interval, size_t width) {
    LogHead head;
    head.host = "db7";
    Page page(width, false);
    showTop(interval, {head, ViewRow{}}, page);
    return page.text();
}

TEST(TopLine, WhatFindsNoRoomIsLeftOutAsAWhole) {
    const auto interval = machine();
    const std::string start = "db7  2026-11-21 14:05:10 +01:00  #31  2.000 s";
    const std::string cost = "  wyrt 0.3% of a CPU, on time\n";
    EXPECT_EQ(top(interval, 0), start + "  16 CPUs  62.8G  Linux 6.1.0-27-amd64  up 41d" + cost);
    EXPECT_EQ(top(interval, 120), top(interval, 0));
    EXPECT_EQ(top(interval, 119), start + "  16 CPUs  62.8G  up 41d" + cost);
    EXPECT_EQ(top(interval, 97), start + "  16 CPUs  62.8G" + cost);
    EXPECT_EQ(top(interval, 80), start + "  16 CPUs  62.8G\n");
    EXPECT_EQ(top(interval, 20), start.substr(0, 19) + "\n"); // no number is cut in half
}

TEST(TopLine, DamageIsNeverLeftOut) {
    auto interval = machine();
    interval.damaged = true;
    EXPECT_EQ(top(interval, 82), "db7  2026-11-21 14:05:10 +01:00  #31  2.000 s  DAMAGED: its bytes have changed\n");
}

static std::string stall(const Interval& interval, size_t width) {
    Page page(width, false);
    showPressure(interval, {LogHead{}, ViewRow{}}, page);
    return page.text();
}

TEST(StallLine, AResourceIsShownAsAWholeOrNot) {
    Interval interval;
    interval.pressure.elapsed_us = 2000000;
    interval.pressure.rows = {
        {"cpu", 2000000, 0},
        {"memory", 8000, 6000},
        {"io", 1430000, 1240000},
        {"irq", {}, 2000},
    };
    const std::string most = "STALL   cpu some 100.0%  mem some   0.4% full   0.3%  io some  71.5% full  62.0%";
    EXPECT_EQ(stall(interval, 0), most + "  irq full   0.1%  (share of the 2.000 s)\n");
    EXPECT_EQ(stall(interval, 100), most + "  irq full   0.1%\n");
    EXPECT_EQ(stall(interval, 80), most + "\n");
    EXPECT_EQ(stall(interval, 79), "STALL   cpu some 100.0%  mem some   0.4% full   0.3%  irq full   0.1%\n");
    interval.pressure.rows = {{"cpu", {}, {}}};
    EXPECT_EQ(stall(interval, 0), "STALL   could not be read: see wyrt check\n");
    EXPECT_EQ(stall(Interval(), 0), "");
}

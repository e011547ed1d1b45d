// What goes to stores of time series: counters, the largest by name, and what stands still.
#include "tests/unit/serieslog.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// --- The largest

TEST(Series, TheLargestHaveTheirOwnAndKeepThem) {
    SeriesLog log;
    for (int i = 0; i < 5; i++) log.process("c" + std::to_string(i), static_cast<uint64_t>(i) * 1000000);
    log.process("c4", 1000000);
    log.end();
    log.process("c0", 9000000); // is larger now than what came before
    log.process("c4", 500000);  // was among the largest: its series goes on
    log.process("c1", 100000);
    log.process("w", 0).write_bytes = 5;
    log.end();
    log.process("c1", 1000);
    log.process("c3", 7);
    log.end();
    SeriesChoice choice;
    choice.top = 2;
    Kept kept(choice);
    give(log.text, kept);
    EXPECT_DOUBLE_EQ(kept.values["process{host=db7,command=c4} cpu_seconds"], 5.5);
    EXPECT_DOUBLE_EQ(kept.values["process{host=db7,command=c3} cpu_seconds"], 3.000007);
    EXPECT_DOUBLE_EQ(kept.values["process{host=db7,command=c0} cpu_seconds"], 9);
    EXPECT_DOUBLE_EQ(kept.values["process{host=db7,command=w} write_bytes"], 5);
    EXPECT_FALSE(kept.values.contains("process{host=db7,command=c2} cpu_seconds"));
    EXPECT_DOUBLE_EQ(kept.values["process{host=db7,command=c1} cpu_seconds"], 0.001) << "alone in its interval";
    EXPECT_DOUBLE_EQ(kept.values["process{host=db7,command=others} cpu_seconds"], 2 + 1 + 0.1);
    // No counter falls, and all of them together are all there was.
    std::map<std::string, double> last;
    for (auto& point : kept.points) {
        const auto at = point.rfind(' '), value = point.rfind(' ', at - 1);
        double& before = last[point.substr(0, value)];
        const double now = std::stod(point.substr(value));
        EXPECT_GE(now, before) << point;
        before = now;
    }
    double sum = 0;
    for (auto& [name, value] : kept.values)
        if (name.starts_with("process") && name.ends_with("cpu_seconds")) sum += value;
    EXPECT_NEAR(sum, 10 + 1 + 9 + 0.5 + 0.1 + 0.001 + 0.000007, 1e-9);
}

TEST(Series, ByUserUnitContainerOrRow) {
    SeriesLog log;
    const auto add = [&](const char* name, const char* user, const char* unit) {
        auto& row = log.process(name, 1000000);
        row.user = user, row.unit = unit, row.rss = 4096;
    };
    add("a", "root", "cron.service");
    add("b", "root", "web");
    add("c", "www", "web");
    add("d", "www", "");
    log.end();
    const auto with = [&](const char* by, bool rows = false) {
        SeriesChoice choice;
        choice.by = by, choice.rows = rows;
        Kept kept(choice);
        give(log.text, kept);
        return kept.values;
    };
    EXPECT_EQ(with("user")["process{host=db7,user=www} cpu_seconds"], 2);
    EXPECT_EQ(with("unit")["process{host=db7,unit=web} cpu_seconds"], 2);
    EXPECT_EQ(with("unit")["process{host=db7} cpu_seconds"], 1);
    EXPECT_EQ(with("container")["process{host=db7,container=web} cpu_seconds"], 2);
    EXPECT_EQ(with("container")["process{host=db7} cpu_seconds"], 2) << "units of systemd are no containers";
    auto rows = with("command", true);
    EXPECT_EQ(rows["process{host=db7,pid=3,command=c,user=www,unit=web} cpu_seconds"], 1);
    EXPECT_EQ(rows["process{host=db7,pid=3,command=c,user=www,unit=web} rss_bytes"], 4096);
    EXPECT_EQ(whyNotBy("unit"), "");
    EXPECT_EQ(whyNotBy("pid"), "--by takes command, user, unit or container, not 'pid'");
}

// --- Findings

TEST(Series, FindingsAreTimeValueAndCulprits) {
    SeriesLog log;
    for (int i = 0; i < 2; i++) {
        log.finding("sda", 41.5);
        log.culprit("dd", 60);
        log.culprit("dd", 30);
        log.end();
    }
    Kept kept;
    give(log.text, kept);
    EXPECT_EQ(kept.values["finding{host=db7,resource=DISK,object=sda,rule=disk.wait} seconds"], 20);
    EXPECT_EQ(kept.values["finding{host=db7,resource=DISK,object=sda,rule=disk.wait} value"], 41.5);
    EXPECT_EQ(kept.values["finding{host=db7,resource=DISK,object=sda,rule=disk.wait} limit"], 20);
    EXPECT_DOUBLE_EQ(kept.values["culprit{host=db7,resource=DISK,object=sda,command=dd,user=root} share_ratio"], 0.9);
    for (auto& [name, value] : kept.values)
        for (const char* none : {"pid", "amount", "total", "start"}) EXPECT_FALSE(name.ends_with(none)) << name;
}

// --- Bounds

TEST(Series, WhatWasNotSeenForLongMakesRoom) {
    SeriesChoice choice;
    choice.endless = true;
    SeriesLog log;
    for (int i = 0; i < 1000; i++) log.disk("d" + std::to_string(i), 1);
    log.end(3600000);
    log.disk("d5", 1);
    log.end(3600000);
    log.disk("late", 1); // one hour after d5, two hours after the others
    log.end(3600000);
    log.disk("later", 3);
    log.disk("d5", 1);
    log.end(3600000);
    Kept kept(choice);
    give(log.text, kept);
    EXPECT_EQ(kept.values["disk{host=db7,disk=later} reads"], 3);
    EXPECT_EQ(kept.values["disk{host=db7,disk=d5} reads"], 3);
    EXPECT_NE(kept.note(), "") << "at first there was no room for `late`";
    Kept finite;
    give(log.text, finite);
    EXPECT_FALSE(finite.values.contains("disk{host=db7,disk=later} reads"));
}

// What was seen while the clock was wrong does not keep all room until the clock is there again.
TEST(Series, WhatWasSeenBeforeTheClockWasSetBackMakesRoom) {
    SeriesChoice choice;
    choice.endless = true;
    SeriesLog before, after("db7", "2");
    for (int i = 0; i < 1000; i++) before.disk("d" + std::to_string(i), 1);
    before.end(int64_t{3600000} * 24 * 365);
    after.disk("d7", 1);
    after.disk("new", 3);
    after.end();
    Kept kept(choice);
    give(before.text, kept);
    give(after.text, kept);
    EXPECT_EQ(kept.note(), "");
    EXPECT_EQ(kept.values["disk{host=db7,disk=new} reads"], 3);
}

TEST(Series, EachHostHasItsOwnBounds) {
    Kept kept;
    for (const char* host : {"a", "b"}) {
        SeriesLog log(host, host);
        for (int i = 0; i < 700; i++) log.disk("d" + std::to_string(i), 1);
        log.end();
        give(log.text, kept);
    }
    EXPECT_EQ(kept.note(), "");
    EXPECT_EQ(kept.values["disk{host=b,disk=d699} reads"], 1);
}

// What is of no thing's own must not fall, however long it was not needed.
TEST(Series, OthersAreNeverForgotten) {
    SeriesChoice choice;
    choice.endless = true, choice.top = 1;
    SeriesLog log;
    log.process("big", 1000000);
    log.process("small", 500000);
    log.end(10800000); // three hours each
    for (int i = 0; i < 250; i++) {
        log.process("c" + std::to_string(i), 7);
        log.end(10800000);
    }
    log.process("big", 1000000);
    log.process("small", 500000);
    log.end(10800000);
    Kept kept(choice);
    give(log.text, kept);
    EXPECT_EQ(kept.values["process{host=db7,command=others} cpu_seconds"], 1);
    EXPECT_EQ(kept.values["process{host=db7,command=big} cpu_seconds"], 1) << "it was forgotten, and begins again";
}

// --- What stands still

TEST(Series, WhatStandsStillIsRepeatedWhileItsRunGoesOn) {
    Kept kept;
    const auto write = [&](const char* host, const char* run, int intervals, bool idle) {
        SeriesLog log(host, run);
        log.disk("busy", 1);
        if (idle) log.disk("idle", 1);
        log.end();
        for (int i = 1; i < intervals; i++) {
            log.disk("busy", 1);
            log.end();
        }
        give(log.text, kept);
    };
    write("a", "1", 31, true); // five minutes after the first interval
    const std::string idle = "disk{host=a,disk=idle} reads", busy = "disk{host=a,disk=busy} reads";
    EXPECT_EQ(pointsOf(kept, idle), 2U + 5U);
    EXPECT_EQ(pointsOf(kept, busy), 32U);
    write("b", "1", 31, true);
    EXPECT_EQ(pointsOf(kept, idle), 2U + 5U) << "intervals of another host do not speak for this one";
    write("a", "2", 60, false);
    EXPECT_EQ(pointsOf(kept, idle), 2U + 5U) << "the new run does not know it";
    EXPECT_EQ(kept.values[idle], 1);
}

TEST(Series, WhatIsForgottenIsNotRepeated) {
    SeriesChoice choice;
    choice.endless = true;
    SeriesLog log;
    for (int i = 0; i < 1000; i++) log.disk("d" + std::to_string(i), 1);
    log.end();
    log.end(10800000);
    log.disk("new", 1);
    log.end(10800000);
    log.end(10800000);
    Kept kept(choice);
    give(log.text, kept);
    EXPECT_EQ(pointsOf(kept, "disk{host=db7,disk=new} reads"), 3U);
    EXPECT_EQ(pointsOf(kept, "disk{host=db7,disk=d1} reads"), 5U);
    EXPECT_EQ(pointsOf(kept, "disk{host=db7,disk=d0} reads"), 3U) << "it made room for the new one";
}

// The interfaces of containers come and go, each with a number of its own.
TEST(Series, AnInterfaceThatComesBackGoesOn) {
    SeriesLog log;
    for (const uint64_t index : {4U, 7U, 9U}) {
        auto& link = log.interval.links.rows.emplace_back();
        link.name = "veth0", link.index = index, link.rx_bytes = 100;
        if (index != 4) log.end(); // one took the place of another within the first interval
    }
    Kept kept;
    give(log.text, kept);
    EXPECT_EQ(kept.values["link{host=db7,interface=veth0} rx_bytes"], 300);
}

// A filesystem that comes back on another device, as disks do with other names, is the one of its mount point.
TEST(Series, FilesystemsAreThoseOfTheirMountPoints) {
    SeriesLog log;
    for (const char* device : {"8:1", "8:17"}) {
        auto& row = log.interval.filesystems.rows.emplace_back();
        row.point = "/srv", row.device = device, row.size = 1000, row.used = 500;
        log.interval.filesystems.sampled = true;
        log.end();
    }
    Kept kept;
    give(log.text, kept);
    EXPECT_EQ(pointsOf(kept, "filesystem{host=db7,mount=/srv} used_bytes"), 2U);
    std::vector<std::string> infos;
    for (auto& thing : kept.totals().things)
        if (thing.info) infos.push_back(thing.key);
    EXPECT_EQ(infos, std::vector<std::string>{"info host=db7,mount=/srv,dev=8:17"});
}

// Findings as text.
#include "tests/unit/whyshown.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

static std::string lineOf(const Interval& interval) {
    Page page(0, false);
    showWhyLine(interval, page);
    return page.text();
}

TEST(WhyView, AFindingWithCulpritsAndSufferers) {
    auto machine = saturated();
    const auto text = shown(machine);
    EXPECT_EQ(text.substr(0, text.find("not under")),
              "1  DISK sdb   writes wait 41.2 ms (limit 20), queue 17.0; io stalled some 71.5% full 62.0% (10)\n"
              "   92% ~ rsync[4411] root backup.service   183.0 MB/s, fd 5 /srv/db7.tar, +366M, vg/backup\n"
              "    4% ~ postgres[2210] postgres           8.0 MB/s\n"
              "    4% ? write-back of earlier writes and not accounted for\n"
              "   suffer: blocked: postgres x8, rsyslogd[700]\n");
    EXPECT_EQ(lineOf(machine.interval),
              "WHY   1 of 1  DISK sdb writes wait 41.2 ms: 92% ~ rsync[4411] root backup.service "
              "/srv/db7.tar\n");
}

// What finds no room is left out whole, so that no figure stands without its number and no name in part.
TEST(WhyView, NarrowTerminal) {
    auto machine = saturated();
    const auto text = shown(machine, 72);
    EXPECT_EQ(text.substr(0, text.find("not under")),
              "1  DISK sdb   writes wait 41.2 ms (limit 20), queue 17.0\n"
              "   92% ~ rsync[4411] root backup.service   183.0 MB/s, fd 5 /srv/db7.tar\n"
              "    4% ~ postgres[2210] postgres           8.0 MB/s\n"
              "    4% ? write-back of earlier writes and not accounted for\n"
              "   suffer: blocked: postgres x8, rsyslogd[700]\n");
}

TEST(WhyView, Calm) {
    WhyMachine machine;
    machine.disk("sdb", "8:16", 20, 2, 0.5);
    machine.pressure("io", 5, 0);
    EXPECT_EQ(shown(machine),
              "nothing under pressure; nearest: disk sdb waits 2.0 ms (20), memory available 62.5% (5), "
              "forks begun 14/s (500)\n");
    EXPECT_EQ(lineOf(machine.interval).substr(0, 37), "WHY   nothing under pressure; nearest");
    EXPECT_EQ(shown(Interval{}), "no figures to find causes by\n");
    EXPECT_EQ(lineOf(Interval{}), "");
}

TEST(WhyView, WhenAFilesystemIsFullIsSaidOnce) {
    WhyMachine machine;
    auto& row = WhyMachine::put(machine.interval.filesystems, FsRow());
    row.point = "/srv", row.device = "8:17", row.type = "ext4";
    row.size = 1000 * GiB, row.used = 850 * GiB, row.available = 150 * GiB;
    row.full_in_s = 3420, row.growth_rate = 183.0 * 1048576, row.growth = 366 * static_cast<int64_t>(MiB);
    const auto text = shown(machine);
    EXPECT_TRUE(text.starts_with("1  FS /srv   full in 57m (limit 4h), 85.0% used")) << text;
    EXPECT_EQ(text.find("full in", text.find("full in") + 1), text.npos) << text;
    EXPECT_TRUE(lineOf(machine.interval).starts_with("WHY   1 of 1  FS /srv full in 57m"));
    EXPECT_EQ(lineOf(machine.interval).find(", full in"), std::string::npos) << lineOf(machine.interval);
}

TEST(WhyView, HostileNamesAndRulesOfOtherVersions) {
    Interval interval;
    auto& why = interval.why.rows.emplace_back();
    why.rank = 12, why.resource = "D\x1B[2J", why.object = "a\nb", why.rule = "disk.heat",
    why.figure = "is\x1B[1m warm";
    why.value = 71.25, why.limit = 60, why.unit = "C\x1B", why.text = "x\ny", why.note = "\x1B]0;", why.ends = 90,
    why.end = "\a";
    auto& who = interval.who.rows.emplace_back();
    who.rank = 12, who.resource = why.resource, who.object = why.object, who.place = 1, who.share = 100,
    who.mark = '\x1B';
    who.pid = 4, who.name = "\x1B[31m", who.user = "\n", who.unit = "\r", who.evidence = "\xFF", who.path = "\x1B";
    auto& suffer = interval.suffer.rows.emplace_back();
    suffer.rank = 12, suffer.resource = why.resource, suffer.object = why.object, suffer.what = "\t",
    suffer.name = "\x1B";
    suffer.value = 1, suffer.unit = "\x1B";
    NearRow near;
    near.resource = "\x1B", near.object = "\n", near.figure = "\b", near.unit = "\x7F";
    interval.nearest.rows.push_back(near);
    for (const auto& text : {shown(interval), lineOf(interval)})
        for (const char c : text) EXPECT_TRUE(c == '\n' || (c >= ' ' && c < '\x7F')) << text;
    EXPECT_EQ(shown(interval).substr(0, 4), "12 D");
    EXPECT_NE(shown(interval).find("71.2C\\x1B (limit 60.0)"), std::string::npos) << shown(interval);
    Interval calm;
    calm.nearest.rows.push_back(near);
    EXPECT_NE(shown(calm).find("-"), std::string::npos);
}

TEST(WhyView, AGroupHasItsName) {
    WhyMachine machine;
    machine.busy(29);
    auto& group = machine.group("/kubepods/pod1/3f2a");
    group.name = "shop/api", group.periods = 20, group.throttled_periods = 19, group.quota = 2,
    group.cpu_us = 4 * Second;
    auto& worker = machine.process(9110, "gunicorn", "/kubepods/pod1/3f2a");
    worker.cpu_us = 3 * Second, worker.wait_us = 12400000, worker.threads = 16;
    for (uint64_t i = 0; i < 8; i++) machine.process(100 + i, "small", "/kubepods/pod1/3f2a").cpu_us = 50000;
    const auto text = shown(machine);
    EXPECT_EQ(text.substr(0, text.find("not under")),
              "1  QUOTA shop/api   periods throttled 95.0% (limit 10), used 2.00 of 2.00 CPUs\n"
              "   75% = gunicorn[9110]   1.5 CPUs, waited 12.4 s over 16 threads\n"
              "   10% = small[100] x8    the largest: 2% of a CPU\n"
              "   15% ? not accounted for\n"
              "   the machine is 71% idle: the limit is the cause, not the host\n");
}

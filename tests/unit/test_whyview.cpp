// Findings as text, and those of several intervals.
#include "record/log.h"
#include "tests/unit/whymachine.h"
#include "view/why.h"
#include "why/span.h"

#include <gtest/gtest.h>

static std::string shown(const Interval& interval, size_t width = 0) {
    const LogHead head;
    const ViewRow asked;
    Page page(width, false);
    showWhy(interval, {head, asked}, page);
    return page.text();
}

static std::string lineOf(const Interval& interval) {
    Page page(0, false);
    showWhyLine(interval, page);
    return page.text();
}

static std::string shown(WhyMachine& machine, size_t width = 0) {
    judge(machine.interval, machine.limits);
    return shown(machine.interval, width);
}

static WhyMachine saturated() {
    WhyMachine machine;
    machine.pressure("io", 71.5, 62);
    machine.disk("sdb", "8:16", 200, 41.2, 17);
    auto& rsync = machine.process(4411, "rsync", "/system.slice/backup.service");
    rsync.user = "root", rsync.unit = "backup.service";
    rsync.write_bytes = 366 * MiB, rsync.written_recently = 6000 * MiB;
    auto& postgres = machine.process(2210, "postgres", "/system.slice/postgres.service");
    postgres.user = "postgres", postgres.write_bytes = 16 * MiB;
    machine.groupIo("/system.slice/backup.service", "8:16", 368 * MiB);
    machine.groupIo("/system.slice/postgres.service", "8:16", 16 * MiB);
    machine.file(rsync, "/srv/db7.tar", "sdb", 366 * MiB).volume = "vg/backup";
    for (uint64_t pid = 10; pid < 18; pid++) machine.process(pid, "postgres").state = 'D';
    machine.process(700, "rsyslogd").state = 'D';
    return machine;
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

// --- Several intervals

TEST(WhySpan, AmountsAreAddedAndTheWorstIsNamed) {
    Span span;
    for (int i = 0; i < 10; i++) {
        auto machine = saturated();
        machine.interval.time = {1795266310000 + i * 2000, 60};
        if (i < 3) machine.pressure("io", 5, 0);             // calm
        if (i == 6) machine.pressure("io", 90, 60);          // the worst
        if (i == 8) machine.interval.processes.rows.clear(); // only the groups are known
        if (i == 9) machine.memory().oom_kills = 1;
        judge(machine.interval, machine.limits);
        span.add(machine.interval);
    }
    EXPECT_EQ(span.intervals(), 10U);
    Interval result;
    span.result(result);
    ASSERT_EQ(result.why.rows.size(), 2U);
    const auto& why = result.why.rows[0];
    EXPECT_EQ(why.resource, "DISK");
    EXPECT_EQ(why.intervals, 7U);
    EXPECT_EQ(why.lasted_us, 14U * Second);
    EXPECT_EQ(why.since, "2026-11-21T14:05:14.000+01:00");
    EXPECT_EQ(why.until, "2026-11-21T14:05:28.000+01:00");
    EXPECT_EQ(why.worst, "2026-11-21T14:05:22.000+01:00");
    EXPECT_EQ(why.total, 7U * 400 * MiB);
    EXPECT_EQ(result.why.rows[1].intervals, 1U);
    EXPECT_EQ(result.why.rows[1].worst, "");
    uint64_t shares = 0, amounts = 0;
    for (auto& row : result.who.rows)
        if (row.rank == 1) shares += row.share, amounts += row.amount;
    EXPECT_EQ(shares, 100U);
    EXPECT_EQ(amounts, why.total);
    EXPECT_EQ(result.who.rows[0].name, "rsync");
    EXPECT_EQ(result.who.rows[0].amount, 6U * 368 * MiB);
    EXPECT_EQ(result.who.rows[0].evidence.substr(0, 43), "2.2G in all; at its peak: 183.0 MB/s, fd 5 ");
    const auto text = shown(result);
    EXPECT_NE(text.find("   in 7 intervals, 14s, from 2026-11-21T14:05:14.000+01:00 to 2026-11-21T14:05:28.000+01:00; "
                        "worst 2026-11-21T14:05:22.000+01:00\n"),
              std::string::npos)
        << text;
    for (auto& row : result.nearest.rows) EXPECT_NE(row.resource, "DISK");
    EXPECT_FALSE(result.nearest.rows.empty());
}

TEST(WhySpan, OneIntervalIsAsItWas) {
    auto machine = saturated();
    const auto text = shown(machine);
    Span span;
    span.add(machine.interval);
    Interval result;
    span.result(result);
    EXPECT_EQ(shown(result), text);
    Interval nothing;
    Span().result(nothing);
    EXPECT_EQ(shown(nothing), "no figures to find causes by\n");
}

static Interval intervalWith(const std::string& object, double severity, uint64_t pid, uint64_t amount) {
    Interval interval;
    interval.time = {1795266310000, 60};
    interval.elapsed_us = 2 * static_cast<int64_t>(Second);
    auto& why = interval.why.rows.emplace_back();
    why.rank = 1, why.resource = "CPU", why.object = object, why.severity = severity, why.total = amount;
    why.total_unit = "us";
    auto& who = interval.who.rows.emplace_back();
    who.rank = 1, who.resource = why.resource, who.object = why.object;
    who.pid = pid, who.start = pid, who.name = "p" + std::to_string(pid), who.mark = '=', who.amount = amount;
    return interval;
}

// Of more findings than are kept the longest and most severe are known, whenever they came.
TEST(WhySpan, TheHeaviestFindings) {
    Span span;
    const auto add = [&](const std::string& object, double severity) {
        span.add(intervalWith(object, severity, 1, Second));
    };
    add("early", 400);
    for (int i = 0; i < 5000; i++) add("little " + std::to_string(i), 1 + i % 7);
    add("late", 500), add("late", 500);
    Interval result;
    span.result(result);
    ASSERT_GE(result.why.rows.size(), 500U);
    EXPECT_LE(result.why.rows.size(), 1000U);
    EXPECT_EQ(result.why.rows.size() + span.leftOut(), 5002U);
    EXPECT_EQ(result.why.rows[0].object, "late");
    EXPECT_EQ(result.why.rows[1].object, "early");
    EXPECT_TRUE(span.has("CPU", "early"));
    EXPECT_FALSE(span.has("CPU", "little 0"));
}

// A day of compilers: more processes than are kept, and the one that did most comes last.
TEST(WhySpan, TheHeaviestCulprits) {
    Span span;
    for (uint64_t pid = 1; pid <= 5000; pid++) span.add(intervalWith("", 50, pid, Second));
    span.add(intervalWith("", 50, 9999, 5000 * Second));
    Interval result;
    span.result(result);
    ASSERT_EQ(result.why.rows.size(), 1U);
    ASSERT_EQ(result.who.rows.size(), 2U);
    EXPECT_EQ(result.who.rows[0].name, "p9999");
    EXPECT_EQ(result.who.rows[0].share, 50U);
    EXPECT_EQ(result.who.rows[1].role, "others");
    EXPECT_EQ(result.who.rows[1].name, "5000");
    EXPECT_EQ(result.who.rows[1].amount, 5000 * Second);
    EXPECT_EQ(result.who.rows[1].mark, '=');
}

// Two namespaces can have a listener of one address and port.
TEST(WhySpan, TwoFindingsOfOneName) {
    Span span;
    for (int i = 0; i < 2; i++) {
        Interval interval;
        interval.time = {1795266310000 + i * 2000, 60};
        interval.elapsed_us = 2 * static_cast<int64_t>(Second);
        for (uint64_t rank = 1; rank <= 2; rank++) {
            auto& why = interval.why.rows.emplace_back();
            why.rank = rank, why.resource = "LISTEN", why.object = "0.0.0.0:80", why.total = 100, why.severity = 50;
            auto& who = interval.who.rows.emplace_back();
            who.rank = rank, who.resource = why.resource, who.object = why.object;
            who.pid = rank, who.name = "nginx", who.mark = '=', who.amount = 100, who.share = 100;
        }
        span.add(interval);
    }
    Interval result;
    span.result(result);
    ASSERT_EQ(result.why.rows.size(), 1U);
    EXPECT_EQ(result.why.rows[0].intervals, 2U);
    EXPECT_EQ(result.why.rows[0].lasted_us, 4U * Second);
    EXPECT_EQ(result.why.rows[0].total, 400U);
    ASSERT_EQ(result.who.rows.size(), 2U);
    for (auto& row : result.who.rows) {
        EXPECT_EQ(row.amount, 200U);
        EXPECT_EQ(row.evidence, "200 in all");
    }
}

// Many of a name are one culprit; in an interval with few of them each is one.
TEST(WhySpan, TheSameProcessesCountOnce) {
    Span span;
    for (const uint64_t count : {3U, 2U, 4U}) {
        WhyMachine machine;
        machine.busy(100);
        machine.pressure("cpu", 90, 0);
        for (uint64_t pid = 10; pid < 10 + count; pid++) machine.process(pid, "gzip").cpu_us = Second;
        judge(machine.interval, machine.limits);
        span.add(machine.interval);
    }
    Interval result;
    span.result(result);
    ASSERT_FALSE(result.who.rows.empty());
    const auto& gzip = result.who.rows[0];
    EXPECT_EQ(gzip.name, "gzip");
    EXPECT_EQ(gzip.count, 4U);
    EXPECT_EQ(gzip.amount, 9U * Second);
    EXPECT_EQ(gzip.evidence, "9.0 s of CPU in all; at their peak, the largest: 50% of a CPU");
}

TEST(WhySpan, OthersOfSeveralIntervalsAreOneRow) {
    Span span;
    for (int i = 0; i < 2; i++) {
        WhyMachine machine;
        machine.busy(100);
        machine.pressure("cpu", 90, 0);
        // Eight of different names that do less and less; each interval has five rows and the others.
        for (uint64_t j = 0; j < 8; j++)
            machine.process(j + 10, "p" + std::to_string(j)).cpu_us = (8 - j) * Second * 8 / 9;
        machine.interval.time = {1795266310000 + i * 2000, 60};
        judge(machine.interval, machine.limits);
        span.add(machine.interval);
    }
    Interval result;
    span.result(result);
    size_t others = 0;
    for (auto& row : result.who.rows) others += row.role == "others";
    EXPECT_EQ(others, 1U) << shown(result);
    EXPECT_EQ(result.who.rows.back().role, "others");
    EXPECT_EQ(result.who.rows.back().name, "3");
}

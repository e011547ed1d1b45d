// Findings of several intervals as one.
#include "tests/unit/whyshown.h"
#include "why/span.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

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

// Of groups without end, such as those of containers, the names of those are kept whose findings are.
TEST(WhySpan, NamesOfGroups) {
    Span span;
    for (int i = 0; i < 3000; i++) {
        auto interval = intervalWith("/c" + std::to_string(i), 1 + i % 7, 1, Second);
        for (auto* path : {"/", interval.why.rows[0].object.c_str()}) {
            auto& group = interval.cgroups.rows.emplace_back();
            group.path = path, group.name = std::string("name of ") + path;
        }
        span.add(interval);
    }
    Interval result;
    span.result(result);
    ASSERT_LE(result.why.rows.size(), 1000U);
    ASSERT_EQ(result.cgroups.rows.size(), result.why.rows.size());
    for (size_t i = 0; i < result.why.rows.size(); i++)
        EXPECT_EQ(result.cgroups.rows[i].name, "name of " + result.why.rows[i].object);
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

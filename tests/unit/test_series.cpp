// What goes to stores of time series: counters, the largest by name, and totals that outlive the program.
#include "record/crc.h"
#include "tests/unit/serieslog.h"

#include <map>
#include <numeric>
#include <random>

namespace {
// Keeps the last value of each series.
class Kept : public SeriesFormat {
public:
    std::map<std::string, double> values; // "process{host=db7,command=c1} cpu_seconds"
    std::vector<std::string> points;      // the same with the value and the time, each one

    explicit Kept(SeriesChoice choice = {}) : SeriesFormat("kept", std::move(choice)) {}
    bool finish() override { return true; }
    std::string failure() const override { return {}; }

protected:
    void addLabel(std::string& labels, std::string_view name, std::string_view value) const override {
        labels.append(labels.empty() ? "" : ",").append(name).append("=").append(value);
    }
    bool point(const Group& group, Thing& thing, int64_t at_ms, const std::vector<char>& which) override {
        for (size_t i = 0; i < which.size(); i++) {
            if (!which[i]) continue;
            const auto& metric = group.metrics[i];
            const auto name =
                std::string(group.kind->prefix) + "{" + thing.labels + "} " + metric.name.substr(metric.ownName);
            const double value = !metric.counter ? thing.levels[i]
                                 : metric.micro  ? static_cast<double>(thing.totals[i]) / 1e6
                                                 : static_cast<double>(thing.totals[i]);
            values[name] = value;
            points.push_back(name + " " + std::to_string(value) + " " + std::to_string(at_ms));
        }
        return true;
    }
};
} // namespace

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

static size_t pointsOf(const Kept& kept, const std::string& name) {
    size_t count = 0;
    for (auto& point : kept.points) count += point.starts_with(name);
    return count;
}

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

// --- Totals

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

TEST(SeenRun, AnyOrder) {
    std::vector<uint64_t> numbers(300);
    std::iota(numbers.begin(), numbers.end(), 0U);
    for (unsigned seed = 0; seed < 20; seed++) {
        auto order = numbers;
        std::mt19937 random(seed);
        for (size_t i = 0; i + 10 <= order.size(); i += 10) // as far from their place as the spans go
            std::shuffle(order.begin() + static_cast<std::ptrdiff_t>(i),
                         order.begin() + static_cast<std::ptrdiff_t>(i) + 10, random);
        SeenRun run;
        for (const auto number : order) {
            EXPECT_FALSE(run.has(number, 5)) << number << ", seed " << seed;
            run.add(number, 5);
            EXPECT_TRUE(run.has(number, 5)) << number;
            EXPECT_FALSE(run.has(number, 6)) << number;
        }
        ASSERT_EQ(run.numbers.size(), 1U) << seed;
        EXPECT_EQ(run.numbers[0].first, 0U);
        EXPECT_EQ(run.numbers[0].last, 299U);
    }
}

TEST(SeenRun, GapsWithoutEnd) {
    SeenRun run;
    for (uint64_t number = 0; number < 1000; number += 2) run.add(number, 5);
    EXPECT_EQ(run.numbers.size(), SeenRun::MostSpans);
    EXPECT_TRUE(run.has(1, 5));
    EXPECT_FALSE(run.has(997, 5));
    run.add(UINT64_MAX, 5), run.add(UINT64_MAX - 1, 5);
    EXPECT_TRUE(run.has(UINT64_MAX, 5));
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

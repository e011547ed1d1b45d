// wyrt why on logs, and the area why of show, in a made-up machine.
#include "tests/madelog.h"
#include "tests/unit/logcommand.h"
#include "tests/unit/whymachine.h"
#include "why/span.h"

// A log of ten intervals of two seconds. In the fifth to the seventh a disk is slow.
static std::string logOf(bool judged, const std::string& limits = "") {
    std::string log;
    LogWriter writer;
    ViewRow view;
    view.areas = judged ? "why disk" : "disk", view.limits = limits;
    writer.head(Head, view, {Start, 60}, log);
    for (int i = 1; i <= 10; i++) {
        WhyMachine machine;
        const bool slow = i >= 5 && i <= 7;
        machine.pressure("io", slow ? 71.5 : 3, 20);
        machine.disk("sdb", "8:16", 200, slow ? 41.2 : 6, slow ? 17 : 0.5);
        machine.process(4411, "rsync").write_bytes = 366 * MiB;
        machine.interval.number = static_cast<uint64_t>(i);
        machine.interval.time = {Start + i * 2000, 60};
        machine.limits.set(limits);
        if (judged) judge(machine.interval, machine.limits);
        writer.interval(machine.interval, log);
    }
    return log;
}

TEST(WhyCommand, ALogWithFindingsAndOneWithout) {
    Made machine("clock 1795266400.000\n");
    for (const bool judged : {true, false}) {
        save("/x.wyrt", logOf(judged));
        const auto said = run({"why", "/x.wyrt"});
        EXPECT_EQ(said.substr(0, said.find("not under")),
                  "db7  2026-11-21T14:05:10.000+01:00 to 2026-11-21T14:05:30.000+01:00  10 intervals\n"
                  "1  DISK sdb   writes wait 41.2 ms (limit 20), queue 17.0; io stalled some 71.5% full 20.0% (10)\n"
                  "   92% ~ rsync[4411]   1.1G in all; at its peak: 183.0 MB/s\n"
                  "    8% ? write-back of earlier writes and not accounted for\n"
                  "   in 3 intervals, 6s, from 2026-11-21T14:05:18.000+01:00 to 2026-11-21T14:05:24.000+01:00; worst "
                  "2026-11-21T14:05:20.000+01:00\n")
            << judged;
        EXPECT_TRUE(said.ends_with("status 0\n")) << said;
    }
}

TEST(WhyCommand, SpansAndLimits) {
    Made machine("clock 1795266400.000\n"
                 "tz CET-1\n");
    save("/x.wyrt", logOf(true));
    const struct {
        std::vector<std::string> words;
        const char* said;
    } Cases[] = {
        {{"--since", "14:05:25"}, "nothing under pressure; nearest: "},
        {{"--until", "14:05:18"}, "nothing under pressure; nearest: "},
        {{"--until", "14:05:20"}, "1  DISK sdb   writes wait 41.2 ms"},
        {{"--since", "@1795266322", "--until", "@1795266322.5"}, "there is no interval in this span"},
        {{"--since", "-1h"}, "1  DISK sdb"},
        {{"--since", "-1m"}, "there is no interval in this span"},
        {{"--since", "tomorrow"}, "wyrt: 'tomorrow' is no time like 14:05"},
        {{"--until", "x"}, "wyrt: 'x' is no time like 14:05"},
        {{"--limit", "disk.wait=50ms"}, "nothing under pressure; nearest: disk sdb waits 41.2 ms (50)"},
        {{"--limit", "disk.wait=5ms", "--limit", "disk.queue=0.1", "--limit=disk.stall=1"},
         "   in 10 intervals, 20s, from"},
        {{"--limit", "disk.wiat=5ms"}, "there is no limit 'disk.wiat'; the nearest is disk.wait"},
        {{"--limit", "disk.wait=5q"}, "is not like disk.wait=50ms"},
    };
    for (auto& c : Cases) {
        std::vector<std::string> words{"why", "/x.wyrt"};
        words.insert(words.end(), c.words.begin(), c.words.end());
        const auto said = run(words);
        EXPECT_NE(said.find(c.said), said.npos) << c.words[1] << ": " << said;
        const bool wrong =
            c.said[0] == 'w' || said.find("limit '") != said.npos || said.find("is not like") != said.npos;
        const bool none = std::string_view(c.said).starts_with("there is no interval");
        EXPECT_TRUE(said.ends_with(wrong ? "status 2\n" : none ? "status 1\n" : "status 0\n")) << said;
    }
}

TEST(WhyCommand, TheLimitsOfTheLog) {
    Made machine("");
    for (const bool judged : {true, false}) {
        save("/x.wyrt", logOf(judged, "disk.wait=50ms"));
        EXPECT_NE(run({"why", "/x.wyrt"}).find("nothing under pressure"), std::string::npos);
        EXPECT_NE(run({"why", "/x.wyrt", "--limit", "disk.wait=40ms"}).find("1  DISK sdb"), std::string::npos);
    }
}

TEST(WhyCommand, DamageAndOtherFiles) {
    Made machine("");
    auto log = logOf(true);
    log[log.find("rsync") + 2] = 'X'; // in the first interval
    save("/x.wyrt", log);
    EXPECT_NE(run({"why", "/x.wyrt"}).find("1 interval is damaged or cut short"), std::string::npos);
    EXPECT_NE(run({"why", "/x.wyrt"}).find("  9 intervals\n"), std::string::npos);
    EXPECT_NE(run({"why", "--damaged", "/x.wyrt"}).find("  10 intervals\n"), std::string::npos);
    save("/y", "no log\n");
    EXPECT_TRUE(run({"why", "/y"}).ends_with("status 1\n"));
    EXPECT_NE(run({"why", "/missing"}).find("'/missing' is no log"), std::string::npos);
    EXPECT_TRUE(run({"why"}).ends_with("status 1\n")) << "there is no folder of logs";
    EXPECT_NE(run({"why", "--help"}).find("--since TIME"), std::string::npos);
    EXPECT_TRUE(run({"why", "/x.wyrt", "-o", "/out"}).ends_with("status 0\n"));
    save("/disk.wyrt", log.substr(0, log.find("\nDISK,")));
    EXPECT_TRUE(run({"why", "/disk.wyrt"}).ends_with("status 1\n"));
}

TEST(WhyCommand, ShowAsksALogThatHasNoFindings) {
    Made machine("");
    save("/with.wyrt", logOf(true));
    save("/without.wyrt", logOf(false));
    const auto with = run({"show", "/with.wyrt"}), without = run({"show", "why", "disk", "/without.wyrt"});
    EXPECT_NE(with.find("1  DISK sdb   writes wait 41.2 ms"), with.npos);
    EXPECT_EQ(with, without);
    EXPECT_NE(run({"show", "why", "/with.wyrt", "--limit", "disk.wait=1s"}), run({"show", "why", "/with.wyrt"}));
    // A log of other areas does not show findings unless it is asked.
    EXPECT_EQ(run({"show", "disk", "/with.wyrt"}), run({"show", "/without.wyrt"}));
}

TEST(WhySpan, KeepsABoundedNumberOfWhatIsNearest) {
    Span span;
    for (int i = 0; i < 1100; i++) {
        Interval interval;
        auto& row = interval.nearest.rows.emplace_back();
        row.resource = "DISK", row.object = "sd" + std::to_string(i), row.share = 10;
        span.add(interval);
    }
    Interval result;
    span.result(result);
    ASSERT_EQ(result.nearest.rows.size(), 1U);
    EXPECT_EQ(result.nearest.rows[0].resource, "DISK");
}

// wyrt chart: the page of made-up logs. What a browser makes of it is seen by tests/live/new-chart.sh.
#include "tests/madelog.h"
#include "tests/unit/logcommand.h"
#include "tests/unit/whymachine.h"

struct Log {
    std::string text;
    LogWriter writer;
    uint64_t number = 0;

    void head(const std::string& host = "db7", const std::string& boot = "boot", const std::string& run = "run") {
        ViewRow view;
        view.areas = "why cpu disk";
        writer.head({"1.2.0", host, boot, run}, view, {Start, 60}, text);
    }
    // A disk is slow in it.
    void interval(int64_t time_ms, bool slow, const std::string& name = "rsync") {
        WhyMachine machine;
        machine.pressure("io", slow ? 71.5 : 3, 20);
        machine.disk("sdb", "8:16", 200, slow ? 41.2 : 6, slow ? 17 : 0.5);
        machine.process(4411, name).write_bytes = 366 * MiB;
        WhyMachine::put(machine.interval.processesTotal, ProcsRow{});
        machine.interval.number = ++number;
        machine.interval.time = {time_ms, 60};
        judge(machine.interval, machine.limits);
        writer.interval(machine.interval, text);
    }
};

static std::string pageOf(const Log& log, std::vector<std::string> more = {}) {
    save("/x.wyrt", log.text);
    std::vector<std::string> words{"chart", "/x.wyrt"};
    words.insert(words.end(), more.begin(), more.end());
    return run(words);
}

static bool has(const std::string& text, std::string_view part) { return text.find(part) != text.npos; }

TEST(Chart, WordsDataAndTables) {
    Made machine("clock 1795266400.000\n");
    Log log;
    log.head();
    for (int i = 1; i <= 10; i++) log.interval(Start + i * 2000, i == 5 || i == 6 || i == 9);
    const auto page = pageOf(log);
    for (auto part : {
             "<!DOCTYPE html>",
             "<h1><bdi>db7</bdi></h1>",
             "2026-11-21 14:05:10 to 2026-11-21 14:05:30 +01:00",
             "<dt>intervals</dt><dd>10 of 2 s</dd>",
             "data-finding=\"1\">DISK sdb: writes wait 41.2 ms (limit 20)",
             "lasted 6s in 3 intervals, 2 times, from 14:05:18 to 14:05:28; worst at <a href=\"#worst-1\">14:05:20</a>",
             "<span class=\"share\">92% ~</span> <bdi>rsync[4411]</bdi>",
             "<details id=\"worst-1\"><summary>14:05:20: worst of DISK sdb</summary>",
             "<pre tabindex=\"0\">db7  2026-11-21 14:05:20 +01:00  #5",
             "\"findings\":[{\"name\":\"DISK "
             "sdb\",\"worst\":1795266320000,\"stretches\":[[1795266318000,1795266322000],[1795266326000,1795266328000]]"
             "}]",
             "\"title\":\"CPU time\"",
             "\"title\":\"sdb throughput\"",
             "{\"name\":\"rsync[4411]\",\"data\":\"",
             "Permission is hereby granted", // of the library
             "Content-Security-Policy\" content=\"default-src 'none';",
         })
        EXPECT_TRUE(has(page, part)) << part;
    EXPECT_TRUE(has(page, "\n</html>\n") && page.ends_with("status 0\n"));
    for (auto part : {"title", "css", "summary", "findings", "tables", "data", "library", "licence", "script"})
        EXPECT_FALSE(has(page, "{{" + std::string(part) + "}}")) << part;
}

TEST(Chart, NamesAreText) {
    Made machine("");
    const std::string hostile = "</script><script>alert(1)</script>{{data}}<!--\"'&\x1B[2J\xFF";
    Log log;
    log.head("<h1>&\"'");
    for (int i = 1; i <= 3; i++) log.interval(Start + i * 2000, true, hostile);
    const auto page = pageOf(log);
    EXPECT_FALSE(has(page, "<script>alert"));
    EXPECT_FALSE(has(page, "<!--\""));
    EXPECT_FALSE(has(page, "\x1B"));
    EXPECT_TRUE(has(page, "<bdi>&lt;h1&gt;&amp;&quot;&#39;</bdi>"));
    EXPECT_TRUE(
        has(page, "&lt;/script&gt;&lt;script&gt;alert(1)&lt;/script&gt;{{data}}&lt;!--&quot;&#39;&amp;\\x1B[2J\\xFF"));
    EXPECT_TRUE(has(page, "\\u003c/script\\u003e\\u003cscript\\u003ealert(1)"));
    size_t scripts = 0;
    for (size_t at = 0; (at = page.find("</script", at)) != page.npos; at++) scripts++;
    EXPECT_EQ(scripts, 3U); // data, library, script of the page
}

TEST(Chart, GapsRestartsAndClocks) {
    Made machine("");
    Log log;
    log.head();
    log.interval(Start + 2000, false);
    log.interval(Start + 4000, false);
    log.interval(Start + 60000, false); // began at 58000
    log.head("db7", "boot", "run 2");
    log.interval(Start + 62000, false);
    log.head("db7", "boot 2", "run 3");
    log.interval(Start + 90000, false);
    log.head("db7", "boot 2", "run 3");
    log.interval(Start + 70000, false); // the clock was set back
    log.interval(Start + 72000, false);
    const auto page = pageOf(log);
    const auto at = [](int64_t ms) { return std::to_string(Start + ms); };
    EXPECT_TRUE(has(page, "\"gaps\":[[" + at(4000) + "," + at(58000) + "],[" + at(62000) + "," + at(88000) + "]]"));
    EXPECT_TRUE(has(page, "\"marks\":[{\"time\":" + at(60000) + ",\"text\":\"wyrt was started\"},{\"time\":" +
                              at(88000) + ",\"text\":\"the machine was started\"},{\"time\":" + at(90000) +
                              ",\"text\":\"the clock was set back\"}]"));
    EXPECT_TRUE(has(page, "Nothing was under pressure; nearest: "));
    EXPECT_TRUE(has(page, "<dt>not recorded</dt><dd>80s in 2 gaps</dd>") || has(page, "<dd>1m in 2 gaps</dd>"));
}

// More findings than a page shows, and more than are kept.
TEST(Chart, WhichFindingsAreShown) {
    Made machine("");
    const auto logOf = [](int count) {
        Log log;
        log.head();
        for (int i = 0; i < count; i++) {
            Interval interval;
            interval.number = static_cast<uint64_t>(i) + 1, interval.time = {Start + 2000 * (i + 1), 60};
            interval.elapsed_us = 2 * static_cast<int64_t>(Second);
            auto& why = interval.why.rows.emplace_back();
            why.rank = 1, why.resource = "DISK", why.object = "d" + std::to_string(i), why.rule = "disk.wait";
            why.severity = i == count - 1 ? 900 : 10, why.value = 41, why.limit = 20, why.unit = "ms";
            interval.why.sampled = interval.nearest.sampled = true;
            log.writer.interval(interval, log.text);
        }
        return log;
    };
    auto page = pageOf(logOf(50));
    EXPECT_TRUE(has(page, "data-finding=\"1\">DISK d49:"));
    EXPECT_TRUE(has(page, "<p>These are the 40 longest or most severe of 50; wyrt why lists the others.</p>"));
    EXPECT_FALSE(has(page, "data-finding=\"41\""));
    page = pageOf(logOf(1200));
    EXPECT_TRUE(has(page, "data-finding=\"1\">DISK d1199:"));
    EXPECT_TRUE(has(page,
                    "<p>These are the 40 longest or most severe of 700; wyrt why lists the others, but not 500 that "
                    "were least and are not kept.</p>"));
    const auto said = run({"why", "/x.wyrt"});
    EXPECT_NE(said.find("DISK d1199"), said.npos);
    EXPECT_NE(said.find("wyrt: 500 findings that were shorter or less severe are left out\n"), said.npos);
}

TEST(Chart, SpansLimitsAndWhatIsRefused) {
    Made machine("clock 1795266400.000\n"
                 "tz CET-1\n");
    Log log;
    log.head();
    for (int i = 1; i <= 10; i++) log.interval(Start + i * 2000, i == 5);
    EXPECT_TRUE(has(pageOf(log, {"--since", "14:05:22"}), "<dd>4 of 2 s</dd>"));
    EXPECT_TRUE(has(pageOf(log, {"--until", "14:05:18"}), "Nothing was under pressure"));
    EXPECT_TRUE(
        has(pageOf(log, {"--limit", "disk.wait=50ms", "--limit", "disk.stall=90"}), "Nothing was under pressure"));
    EXPECT_TRUE(has(pageOf(log, {"--since", "never"}), "wyrt: 'never' is no time like 14:05"));
    const auto none = pageOf(log, {"--until", "14:05:11"});
    EXPECT_TRUE(has(none, "The log has no interval in this span."));
    EXPECT_TRUE(has(none, "there is no interval in this span, and nothing in the page"));
    EXPECT_TRUE(none.ends_with("status 1\n"));
    Log other;
    other.head("db8");
    other.interval(Start + 30000, false);
    save("/y.wyrt", other.text);
    const auto several = pageOf(log, {"/y.wyrt"});
    EXPECT_TRUE(has(several, "wyrt: the logs are of several hosts: 'db7' and 'db8'; a page shows one\n")) << several;
    EXPECT_TRUE(several.ends_with("status 1\n"));
    EXPECT_FALSE(has(several, "<html"));
}

TEST(Chart, NotOnATerminal) {
    Made machine("terminal\n");
    EXPECT_TRUE(has(run({"chart", "/x.wyrt"}), "is no log"));
    Log log;
    log.head();
    const auto said = pageOf(log);
    EXPECT_TRUE(has(said, "wyrt: a page goes to a file: -o report.html (see wyrt chart --help)\n")) << said;
    EXPECT_TRUE(said.ends_with("status 2\n"));
}

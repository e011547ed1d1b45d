// What `wyrt serve` is made of, without a network: what is asked, the text of the series.
#include "tests/unit/logcommand.h"
#include "tests/unit/serieslog.h"
#include "wyrtlog/serve/answers.h"

// --- What is asked

TEST(Request, WhereToListen) {
    const auto shown = [](std::string_view text) {
        const auto address = parseListen(text);
        return address ? address->host + (address->six ? " 6 " : " 4 ") + std::to_string(address->port) : "none";
    };
    EXPECT_EQ(shown("127.0.0.1:9177"), "127.0.0.1 4 9177");
    EXPECT_EQ(shown("[::1]:9177"), "::1 6 9177");
    EXPECT_EQ(shown("0.0.0.0:65535"), "0.0.0.0 4 65535");
    for (const char* wrong :
         {"", ":", "9177", ":9177", "[]:1", "::1:9177", "localhost:9177", "127.0.0.1:", "127.0.0.1:0",
          "127.0.0.1:65536", "127.0.0.1:-1", "127.0.0.1:1x", "127.0.0.1:99999999999999999999999"})
        EXPECT_EQ(shown(wrong), "none") << wrong;
}

TEST(Request, Accept) {
    const struct {
        const char* accept;
        bool open;
    } Cases[] = {
        {"", false},
        {"*/*", false},
        {"text/plain", false},
        {"application/openmetrics-text", true},
        {"application/openmetrics-text;version=1.0.0,application/openmetrics-text;version=0.0.1;q=0.75,"
         "text/plain;version=0.0.4;q=0.5,*/*;q=0.1",
         true},
        {"Application/OpenMetrics-Text; Version=\"1.0.0\" , text/plain ; q=0.9", true},
        {"application/openmetrics-text;q=0.1,text/plain;q=0.5", false},
        {"application/openmetrics-text;version=2.0.0,text/plain;q=0.5", false},
        {"application/openmetrics-text;q=0", false},
        {"application/openmetrics-text;q=", false},
        {"text/html,application/xml;q=0.9", false},
        {",,;;=,q=1;", false},
    };
    for (auto& c : Cases) EXPECT_EQ(negotiated(c.accept) == Exposition::OpenMetrics, c.open) << c.accept;
    EXPECT_EQ(negotiated(std::string(100000, ',') + std::string(100000, ';')), Exposition::Text);
}

TEST(Request, Targets) {
    EXPECT_EQ(parseRequest("/").resource, Resource::Index);
    EXPECT_EQ(parseRequest("/metrics").resource, Resource::Metrics);
    EXPECT_EQ(parseRequest("/metrics?whatever").resource, Resource::Metrics);
    EXPECT_EQ(parseRequest("/health").resource, Resource::Health);
    for (const char* none : {"", "*", "/metrics/", "//metrics", "/metrics%00", "/metrics%00/../x", "/../../etc/passwd",
                             "/%2e%2e/metrics", "/Metrics", "http://x/metrics", "/report/../metrics", "/metrics#"})
        EXPECT_EQ(parseRequest(none).resource, Resource::None) << none;
    const auto report = [](std::string_view query) {
        const auto request = parseRequest("/report" + std::string(query));
        EXPECT_EQ(request.resource, Resource::Report) << query;
        return request.wrong.empty() ? request.since + "|" + request.until : request.wrong;
    };
    EXPECT_EQ(report(""), "|");
    EXPECT_EQ(report("?since=-1h&until=14:05"), "-1h|14:05");
    EXPECT_EQ(report("?since=yesterday+14%3A05"), "yesterday 14:05|");
    EXPECT_EQ(report("?since=2026-11-21T14:05:10.000+01:00"), "2026-11-21T14:05:10.000+01:00|");
    for (const char* wrong :
         {"?since=", "?since=%00", "?since=%0a", "?since=%", "?since=%4", "?since=%zz", "?until=\xff"})
        EXPECT_EQ(report(wrong), "this is no time") << wrong;
    EXPECT_EQ(report("?since=" + std::string(65, '1')), "this is no time");
    for (const char* wrong : {"?file=/etc/passwd", "?since=1&-o=/tmp/x", "?&", "?=1"})
        EXPECT_EQ(report(wrong), "a report takes since and until, and nothing else") << wrong;
}

// --- What is answered

TEST(Answers, ReportsAreMadeByTheProgramItself) {
    const auto words = [](std::string_view target, const std::vector<std::string>& logs) {
        std::string all;
        for (auto& word : reportWords("/x/wyrtlog", parseRequest(target), logs)) all += word + "|";
        return all;
    };
    EXPECT_EQ(words("/report", {"/logs"}), "/x/wyrtlog|chart|--since=-1h|/logs|");
    EXPECT_EQ(words("/report?since=-2h&until=-1h", {}), "/x/wyrtlog|chart|--since=-2h|--until=-1h|");
    EXPECT_EQ(words("/report?until=--output=x", {"a", "b"}), "/x/wyrtlog|chart|--until=--output=x|a|b|");
    EXPECT_EQ(words("/report", {"a", "-"}), "");
    EXPECT_EQ(reportAnswer({0, "<html>", true}).status, 200U);
    EXPECT_EQ(*reportAnswer({0, "<html>", true}).body, "<html>");
    EXPECT_EQ(reportAnswer({1, "", true}).status, 404U);
    EXPECT_EQ(reportAnswer({2, "", true}).status, 400U);
    EXPECT_EQ(reportAnswer({139, "part", true}).status, 500U);
    EXPECT_EQ(reportAnswer({0, "part", false}).status, 503U);
}

TEST(Answers, Health) {
    EXPECT_EQ(healthAnswer({}, 0).status, 503U);
    EXPECT_EQ(*healthAnswer({}, 0).body, "{\"status\":\"nothing yet\",\"hosts\":0}\n");
    const auto fresh = healthAnswer(ScrapeFormat::Age{Start, 2500, true}, 2);
    EXPECT_EQ(fresh.status, 200U);
    EXPECT_EQ(*fresh.body, "{\"status\":\"ok\",\"last_interval\":\"2026-11-21T13:05:10.000+00:00\",\"age_seconds\":2.5,"
                           "\"hosts\":2}\n");
    EXPECT_EQ(healthAnswer(ScrapeFormat::Age{Start, 99000, false}, 1).status, 503U);
    EXPECT_NE(indexAnswer().body->find("/metrics"), std::string::npos);
}

TEST(Answers, ReportsThatAreReadSlowly) {
    Underway reports;
    std::vector<HttpAnswer> read;
    for (int i = 0; i < 5; i++) {
        EXPECT_TRUE(reports.hasRoom()) << i;
        read.push_back(plainAnswer(200, std::string(8 << 20, 'x')));
        reports.add(read.back());
    }
    EXPECT_FALSE(reports.hasRoom());
    read.erase(read.begin());
    EXPECT_TRUE(reports.hasRoom()) << "somebody has read one";
}

TEST(Answers, WhereARestartGoesOn) {
    constexpr int64_t Hour = 3600000, Day = 24 * Hour;
    EXPECT_EQ(beginOf({}, 77), 77);
    Totals totals;
    totals.hosts = {{"a", 10 * Day, 0, {}}, {"b", 9 * Day, 0, {}}};
    EXPECT_EQ(beginOf(totals, 77), 9 * Day - Hour);
    totals.hosts.push_back({"gone", 1 * Day, 0, {}});
    EXPECT_EQ(beginOf(totals, 77), 8 * Day - Hour);
}

// --- The text of the series

TEST(Scrape, LastValues) {
    SeriesLog log;
    auto& disk = log.disk("sda", 5);
    disk.busy_us = 1500000, disk.in_flight = 3, disk.holds = "a\n\"b\\";
    log.finding("sda", 41.5);
    log.culprit("dd", 90);
    log.end();
    ScrapeFormat scrape{SeriesChoice()};
    give(log.text, scrape);
    const int64_t now = Start + 10000;
    const auto text = scrape.text(Exposition::Text, now);
    EXPECT_EQ(linesWith(text, "wyrt_disk_busy"), "# HELP wyrt_disk_busy_seconds_total of the records DISK\n"
                                                 "# TYPE wyrt_disk_busy_seconds_total counter\n"
                                                 "wyrt_disk_busy_seconds_total{host=\"db7\",disk=\"sda\"} 1.5\n");
    EXPECT_EQ(linesWith(text, "wyrt_disk_info"),
              "# HELP wyrt_disk_info of the records DISK\n# TYPE wyrt_disk_info gauge\n"
              "wyrt_disk_info{host=\"db7\",disk=\"sda\",dev=\"8:0\",holds=\"a\\n\\\"b\\\\\"} 1\n");
    EXPECT_NE(text.find("wyrt_disk_in_flight{host=\"db7\",disk=\"sda\"} 3\n"), text.npos) << text;
    EXPECT_NE(text.find("wyrt_interval_end_timestamp_seconds{host=\"db7\"} 1795266320\n"), text.npos) << text;
    EXPECT_NE(text.find("wyrt_interval_length_seconds{host=\"db7\"} 10\n"), text.npos);
    EXPECT_EQ(text.find("UNIT"), text.npos);
    const auto open = scrape.text(Exposition::OpenMetrics, now);
    EXPECT_EQ(linesWith(open, "wyrt_disk_busy"), "# HELP wyrt_disk_busy_seconds of the records DISK\n"
                                                 "# TYPE wyrt_disk_busy_seconds counter\n"
                                                 "# UNIT wyrt_disk_busy_seconds seconds\n"
                                                 "wyrt_disk_busy_seconds_total{host=\"db7\",disk=\"sda\"} 1.5\n");
    EXPECT_NE(open.find("# TYPE wyrt_disk info\n"), open.npos);
    EXPECT_TRUE(open.ends_with("\n# EOF\n"));
}

TEST(Scrape, WhatPassesAndWhatStays) {
    SeriesLog log;
    log.disk("sda", 5).in_flight = 3;
    auto& moved = log.disk("sdb", 1);
    moved.holds = "old";
    log.finding("sda", 41.5);
    log.culprit("dd", 90);
    log.end();
    log.disk("sdb", 1).holds = "new";
    log.end();
    ScrapeFormat scrape{SeriesChoice()};
    give(log.text, scrape);
    const int64_t now = Start + 20000;
    const auto text = scrape.text(Exposition::Text, now);
    EXPECT_NE(text.find("wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 5\n"), text.npos) << "it stands still";
    EXPECT_NE(text.find("wyrt_disk_in_flight{host=\"db7\",disk=\"sda\"} 0\n"), text.npos) << "and does nothing";
    EXPECT_NE(
        text.find("wyrt_finding_seconds_total{host=\"db7\",resource=\"DISK\",object=\"sda\",rule=\"disk.wait\"} 10\n"),
        text.npos);
    EXPECT_EQ(text.find("wyrt_finding_value"), text.npos) << "it is over";
    EXPECT_EQ(text.find("wyrt_culprit"), text.npos);
    EXPECT_EQ(text.find("holds=\"old\""), text.npos) << "another info has its place";
    EXPECT_NE(text.find("holds=\"new\""), text.npos);
    // A recorder that has ended: its counters stay, what was the case then is not known any more.
    ASSERT_TRUE(scrape.age(now)->fresh);
    ASSERT_FALSE(scrape.age(now + 45001)->fresh);
    const auto later = scrape.text(Exposition::Text, now + 45001);
    EXPECT_NE(later.find("wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 5\n"), later.npos);
    EXPECT_EQ(later.find("in_flight"), later.npos);
}

// What the last interval has is what is shown, whatever the clock says.
TEST(Scrape, AClockThatWasSetBack) {
    SeriesLog before, after("db7", "2");
    before.disk("sda", 5).in_flight = 3;
    before.finding("sda", 41.5);
    before.end(86400000);
    after.disk("sda", 2).in_flight = 4;
    after.finding("sda", 30).limit = {};
    after.end();
    ScrapeFormat scrape{SeriesChoice()};
    give(before.text, scrape);
    give(after.text, scrape);
    const auto text = scrape.text(Exposition::Text, Start + 10000);
    EXPECT_NE(text.find("wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 7\n"), text.npos) << text;
    EXPECT_NE(text.find("wyrt_disk_in_flight{host=\"db7\",disk=\"sda\"} 4\n"), text.npos);
    EXPECT_NE(linesWith(text, "wyrt_finding_value").find(" 30\n"), text.npos);
    EXPECT_EQ(linesWith(text, "wyrt_finding_limit"), "") << "the last one has none";
}

TEST(Scrape, GoesOnFromASavedState) {
    SeriesLog log;
    for (int i = 0; i < 3; i++) {
        log.disk("sda", 5);
        log.process("c", 1500000);
        log.end();
    }
    ScrapeFormat whole{SeriesChoice()}, first{SeriesChoice()}, second{SeriesChoice()};
    give(log.text, whole);
    give(log.text, first, 2);
    ASSERT_TRUE(second.take(*parseTotals(totalsText(first.totals()))));
    EXPECT_NE(second.text(Exposition::Text, Start).find("wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 10\n"),
              std::string::npos)
        << "before the next interval";
    EXPECT_FALSE(second.age(Start));
    give(log.text, second);
    EXPECT_EQ(second.text(Exposition::Text, Start), whole.text(Exposition::Text, Start));
}

// Nothing is two things at once after a restart.
TEST(Scrape, ASavedStateHasTheLastInfoOnly) {
    SeriesLog log;
    const auto write = [&](const char* holds) {
        log.disk("sda", 5).holds = holds;
        auto& volume = log.interval.volumeGroups.rows.emplace_back(); // it has no counters
        volume.name = "vg", volume.state = holds;
        log.end();
    };
    write("one"), write("two");
    ScrapeFormat first{SeriesChoice()}, second{SeriesChoice()};
    give(log.text, first);
    ASSERT_TRUE(second.take(*parseTotals(totalsText(first.totals()))));
    const auto infos = [&](const char* name) { return linesWith(second.text(Exposition::Text, Start), name); };
    const auto disk = [](const std::string& holds) {
        return "wyrt_disk_info{host=\"db7\",disk=\"sda\",dev=\"8:0\",holds=\"" + holds + "\"} 1\n";
    };
    const auto group = [](const std::string& state) {
        return "wyrt_volume_group_info{host=\"db7\",group=\"vg\",state=\"" + state + "\"} 1\n";
    };
    EXPECT_EQ(infos("wyrt_disk_info{"), disk("two"));
    EXPECT_EQ(infos("wyrt_volume_group_info{"), group("two"));
    write("three");
    give(log.text, second);
    EXPECT_EQ(infos("wyrt_disk_info{"), disk("three"));
    EXPECT_EQ(infos("wyrt_volume_group_info{"), group("three"));
}

// --- The command line

TEST(Serve, WrongUsage) {
    Made machine("dir /logs\n");
    const struct {
        std::vector<std::string> words;
        const char* said;
    } Cases[] = {
        {{"--listen", "localhost:80"},
         "--listen takes ADDRESS:PORT, such as 127.0.0.1:9177 or [::1]:9177, not 'localhost:80'"},
        {{"--by", "pid"}, "--by takes command, user, unit or container, not 'pid'"},
        {{"--top", "0"}, "--top takes 1 to 200, not '0'"},
        {{"--top", "many"}, "--top takes 1 to 200, not 'many'"},
        {{"--since", "noon"}, "'noon' is no time like"},
        {{"/none"}, "'/none' is no log"},
    };
    for (auto& c : Cases) {
        std::vector<std::string> words{"serve", "/logs"};
        words.insert(words.end(), c.words.begin(), c.words.end());
        const auto said = run(words);
        EXPECT_NE(said.find(c.said), std::string::npos) << said;
        EXPECT_TRUE(said.ends_with("(see wyrt serve --help)\nstatus 2\n")) << said;
    }
    EXPECT_TRUE(run({"serve", "--help"}).starts_with("wyrt serve [LOG...] [OPTION...]\n"));
    const auto folder = run({"serve", "/logs", "--state", "/logs"});
    EXPECT_TRUE(folder.ends_with("Is a directory\nstatus 1\n")) << folder;
}

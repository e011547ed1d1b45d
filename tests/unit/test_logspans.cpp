// Spans, sums and moments of logs.
#include "tests/unit/cpulog.h"
#include "tests/unit/logcommand.h"

TEST(LogSpans, SinceAndUntil) {
    Made machine("");
    save("/a.wyrt", logOf(0, 20));
    const auto shown = [](std::vector<std::string> words) {
        words.insert(words.begin(), {"show", "/a.wyrt"});
        return run(words);
    };
    EXPECT_EQ(timesOf(shown({"--since", "@1795266314", "--until", "@1795266320"})), "14:05:16 14:05:18 14:05:20 ");
    EXPECT_EQ(timesOf(shown({"--since", "2026-11-21T14:05:27.500+01:00"})), "14:05:28 14:05:30 ");
    EXPECT_EQ(timesOf(shown({"--until", "@1795266310"})), "14:05:10 ");
    const auto none = shown({"--since", "@1795266330"});
    EXPECT_EQ(none, "wyrt: there is no interval to show\nstatus 1\n");
    const auto wrong = shown({"--since", "soon"});
    EXPECT_TRUE(wrong.starts_with("wyrt: 'soon' is no time like 14:05") && wrong.ends_with("status 2\n")) << wrong;
}

TEST(LogSpans, TheIntervalOfAMoment) {
    Made machine("");
    std::string log = logOf(0, 10);
    addInterval(Start + 100000, 7, log);
    save("/a.wyrt", log);
    const auto at = [](const std::string& time) { return run({"show", "/a.wyrt", "--at", time}); };
    EXPECT_EQ(timesOf(at("@1795266314")), "14:05:14 ");   // its end
    EXPECT_EQ(timesOf(at("@1795266314.5")), "14:05:16 "); // within
    EXPECT_EQ(timesOf(at("@1795266308")), "14:05:10 ");   // the first one's beginning
    EXPECT_EQ(timesOf(at("@1795266409")), "14:06:50 ");
    EXPECT_EQ(at("@1795266350"), "wyrt: there is no interval of that time; the next one begins at "
                                 "2026-11-21T14:06:48.000+01:00\nstatus 1\n");
    EXPECT_EQ(at("@1795269999"), "wyrt: there is no interval to show\nstatus 1\n");
    for (const char* other : {"--since", "--until"}) {
        const auto said = run({"show", "/a.wyrt", "--at", "now", other, "-1m"});
        EXPECT_EQ(said, "wyrt: --at goes with none of --since, --until, --every and --follow (see wyrt show --help)\n"
                        "status 2\n");
    }
}

TEST(LogSpans, IntervalsAreAddedUp) {
    Made machine("");
    save("/a.wyrt", logOf(0, 70)); // 14:05:10 to 14:06:20
    const auto said = run({"show", "/a.wyrt", "--every", "1m"});
    EXPECT_EQ(timesOf(said), "14:06:00 14:06:20 ");
    EXPECT_NE(said.find("#26  52.000 s"), std::string::npos) << said; // 13:05:10 is #1, 13:06:00 is #26
    EXPECT_NE(said.find("#36  20.000 s"), std::string::npos) << said;
    // The sum of 0.1 s to 2.6 s: 35.1 of 104 seconds of two CPUs.
    EXPECT_NE(said.find("          33.8 "), std::string::npos) << said;
    EXPECT_NE(said.find(" 26.0 "), std::string::npos) << said; // the last load
    const auto one = run({"show", "/a.wyrt", "--every", "1d", "--until", "@1795266314"});
    EXPECT_NE(one.find("#3  6.000 s"), std::string::npos) << one;
    // What was written by another run is another sum.
    auto restarted = logOf(0, 4);
    restarted += logOf(6, 8, "run2");
    save("/b.wyrt", restarted);
    const auto two = run({"show", "/b.wyrt", "--every", "1h"});
    EXPECT_EQ(timesOf(two), "14:05:14 14:05:18 ");
    for (const char* wrong : {"0", "10ms", "soon"}) {
        const auto refused = run({"show", "/a.wyrt", "--every", wrong});
        EXPECT_EQ(refused, "wyrt: --every takes a time of at least a second, like 1m, not '" + std::string(wrong) +
                               "' (see wyrt show --help)\nstatus 2\n");
    }
}

// 2026-10-25 at 01:00 UTC clocks in Berlin go from 3 back to 2: two hours have the same local time.
TEST(LogSpans, TheHourThatComesTwice) {
    constexpr int64_t Change = 1792890000000, Quarter = 900000; // ms
    Made machine("");
    ViewRow view;
    view.areas = "cpu";
    std::string log;
    LogWriter().head(Head, view, {Change, 120}, log);
    for (int64_t i = -3; i <= 4; i++) {
        Interval interval;
        interval.number = static_cast<uint64_t>(i + 4), interval.elapsed_us = Quarter * 1000;
        interval.time = {Change + i * Quarter, i <= 0 ? int16_t{120} : int16_t{60}};
        interval.cpu.sampled = true, interval.cpu.elapsed_us = interval.elapsed_us;
        interval.cpu.rows.emplace_back().forks = 900;
        LogWriter().interval(interval, log);
    }
    save("/a.wyrt", log);
    const auto hours = run({"show", "/a.wyrt", "--every", "1h"});
    EXPECT_NE(hours.find("#4  3600.000 s"), std::string::npos) << hours;
    EXPECT_NE(hours.find("#8  3600.000 s"), std::string::npos) << hours;
    const auto day = run({"show", "/a.wyrt", "--every", "1d"});
    EXPECT_NE(day.find("#8  7200.000 s"), std::string::npos) << day;
}

// Tables with one row for the machine have the least and the largest figures of the intervals below their sum.
TEST(LogSpans, LeastAndLargest) {
    Made machine("");
    ViewRow view;
    view.areas = "cpu mem disk net";
    std::string log;
    LogWriter().head(Head, view, {Start, 60}, log);
    for (uint64_t number = 1; number <= 3; number++) {
        Interval interval;
        interval.number = number, interval.elapsed_us = number == 2 ? 1000000 : 2000000;
        interval.time = {Start + static_cast<int64_t>(number) * 2000, 60};
        const auto sampled = [&](auto& rows) -> auto& {
            rows.sampled = true, rows.elapsed_us = interval.elapsed_us;
            return rows.rows.emplace_back();
        };
        auto& cpu = sampled(interval.cpu);
        cpu.user_us = 100000 * number, cpu.idle_us = 1000000 - *cpu.user_us,
        cpu.load1 = 10.0 / static_cast<double>(number);
        cpu.forks = 500 * number; // 250, 1000 and 750 a second
        auto& memory = sampled(interval.memory);
        memory.total = uint64_t{64} << 30, memory.available = number << 30;
        auto& disks = sampled(interval.disksTotal);
        disks.disks = 2, disks.reads = 10 * number, disks.read_us = 50000, disks.read_bytes = 0;
        auto& links = sampled(interval.linksTotal);
        links.links = links.counted = 2, links.rx_errors = number, links.tx_errors = 0, links.rx_bytes = number << 20;
        LogWriter().interval(interval, log);
    }
    save("/a.wyrt", log);
    const auto lineAfter = [](const std::string& text, const std::string& title, int lines) {
        size_t at = text.find("\n" + title) + 1;
        for (; lines > 0; lines--) at = text.find('\n', at) + 1;
        return text.substr(at, text.find('\n', at) - at);
    };
    const auto said = run({"show", "/a.wyrt", "--every", "1h"});
    EXPECT_EQ(lineAfter(said, "CPU", 1),
              "          20.0     -     -      -     -   80.0     -     -     -    3.3      -"
              "      -       -       -     600");
    EXPECT_EQ(lineAfter(said, "CPU", 2),
              "min       10.0     -     -      -     -   70.0     -     -     -    3.3      -"
              "      -       -       -     250");
    EXPECT_EQ(lineAfter(said, "CPU", 3),
              "max       30.0     -     -      -     -   90.0     -     -     -   10.0      -"
              "      -       -       -    1000");
    EXPECT_TRUE(lineAfter(said, "MEM", 1).starts_with("         64.0G  3.0G    4.7")) << said;
    EXPECT_TRUE(lineAfter(said, "MEM", 2).starts_with("min      64.0G  1.0G    1.6")) << said;
    EXPECT_TRUE(lineAfter(said, "MEM", 3).starts_with("max      64.0G  3.0G    4.7")) << said;
    EXPECT_TRUE(lineAfter(said, "DISK", 1).starts_with("all 2            12    0.0    2.5")) << said;
    EXPECT_TRUE(lineAfter(said, "DISK", 2).starts_with("min               5    0.0    1.7")) << said;
    EXPECT_TRUE(lineAfter(said, "DISK", 3).starts_with("max              20    0.0    5.0")) << said;
    EXPECT_TRUE(lineAfter(said, "NET", 1).starts_with("all 2         1.2      -      -      -   1.2")) << said;
    EXPECT_TRUE(lineAfter(said, "NET", 2).starts_with("min           0.5      -      -      -   0.5")) << said;
    EXPECT_TRUE(lineAfter(said, "NET", 3).starts_with("max           2.0      -      -      -     2")) << said;
    // One interval is no span, and neither is a table without --every.
    for (const auto& words :
         {std::vector<std::string>{"show", "/a.wyrt"}, std::vector<std::string>{"show", "/a.wyrt", "--every", "1s"}})
        EXPECT_EQ(run(words).find("\nmin "), std::string::npos);
}

// Damage outside of the span is none of its business; damage in it is counted, and in no sum.
TEST(LogSpans, Damage) {
    Made machine("");
    for (const size_t number : {size_t{2}, size_t{5}}) {
        auto log = logOf(0, 20);
        size_t at = 0;
        for (size_t i = 0; i < number; i++) at = log.find("\nCPU,", at + 1);
        log[at + 40] ^= 1;
        save("/a.wyrt", log);
        const auto said = run({"show", "/a.wyrt", "--since", "@1795266315", "--until", "@1795266322"});
        EXPECT_EQ(timesOf(said), number == 2 ? "14:05:16 14:05:18 14:05:20 14:05:22 " : "14:05:16 14:05:20 14:05:22 ");
        EXPECT_EQ(said.find("1 interval is damaged") != said.npos, number == 5) << said;
        const auto sum = run({"show", "/a.wyrt", "--every", "1h"});
        EXPECT_NE(sum.find("#11  20.000 s"), std::string::npos) << sum; // 10 of 11
    }
}

TEST(LogSpans, InfoLooksAtSumsWhenItIsAsked) {
    Made machine("");
    auto log = logOf(0, 20);
    log[log.find("\nCPU,") + 40] ^= 1;
    save("/a.wyrt", log);
    const auto quick = run({"info", "/a.wyrt"}), checked = run({"info", "--check", "/a.wyrt"});
    EXPECT_NE(quick.find("\nintervals   11\n"), std::string::npos) << quick;
    EXPECT_NE(quick.find("\ndamaged     0 by their lengths; --check verifies the checksums\n"), std::string::npos)
        << quick;
    EXPECT_NE(checked.find("\nintervals   10\n"), std::string::npos) << checked;
    EXPECT_NE(checked.find("\ndamaged     1\n"), std::string::npos) << checked;
}

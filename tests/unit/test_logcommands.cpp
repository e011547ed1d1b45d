// wyrt show and wyrt info on logs in a made-up machine.
#include "tests/unit/cpulog.h"
#include "tests/unit/logcommand.h"

#include <iterator>
#include <sstream>

static std::string changed(std::string text, const std::string& from, const std::string& to) {
    const auto at = text.find(from);
    if (at == text.npos) std::abort();
    return text.replace(at, from.size(), to);
}

TEST(LogCommands, WrongUsage) {
    Made machine("");
    const struct {
        std::vector<std::string> words;
        const char* said;
    } Cases[] = {
        {{}, "wyrtlog is the program that wyrt starts to read logs"},
        {{"nonsense"}, "wyrtlog is the program that wyrt starts to read logs"},
        {{"show", "cpux"}, "'cpux' is no log and no area; the nearest area is cpu (see wyrt show --help)"},
    };
    for (auto& c : Cases) {
        const auto said = run(c.words);
        EXPECT_NE(said.find(c.said), std::string::npos) << said;
        EXPECT_TRUE(said.ends_with("status 2\n")) << said;
        EXPECT_EQ(countOf(said, "\n"), 2U) << said;
    }
    const auto help = run({"info", "--help"});
    EXPECT_TRUE(help.starts_with("wyrt info [LOG...]") && help.ends_with("status 0\n")) << help;
}

TEST(LogCommands, ShowPrintsEachInterval) {
    Made machine("");
    save("/a.wyrt", logOf({2, 4}));
    const auto said = run({"show", "/a.wyrt"});
    EXPECT_TRUE(said.starts_with("db7  2026-11-21 14:05:12 +01:00  #1  2.000 s")) << said;
    EXPECT_NE(said.find("db7  2026-11-21 14:05:14 +01:00  #2  2.000 s"), std::string::npos) << said;
    EXPECT_EQ(countOf(said, "  25.0 "), 2U) << said;
    EXPECT_EQ(countOf(said, "\nCPU "), 2U) << said;
    EXPECT_TRUE(said.ends_with("status 0\n")) << said;
    const auto self = run({"show", "self", "/a.wyrt", "/a.wyrt", "-n", "1"});
    EXPECT_EQ(countOf(self, "\nSELF "), 2U) << self; // what is there twice is shown once
    EXPECT_EQ(countOf(self, "\nCPU "), 0U) << self;
}

// Without areas those of the log are asked for.
TEST(LogCommands, SortByAWordThatNoAreaKnows) {
    Made machine("");
    save("/a.wyrt", logOf({2, 4}));
    const auto said = run({"show", "/a.wyrt", "--sort", "busy"});
    EXPECT_EQ(said, "wyrt: --sort has no word for these areas, not even 'busy' (see wyrt show --help)\nstatus 2\n");
    const auto near = run({"show", "cpu", "disk", "/a.wyrt", "--sort", "bsuy"});
    EXPECT_EQ(near, "wyrt: --sort has no word 'bsuy' for these areas; the nearest is busy (see wyrt show --help)\n"
                    "status 2\n");
    EXPECT_TRUE(run({"show", "cpu", "disk", "/a.wyrt", "--sort", "busy"}).ends_with("status 0\n"));
}

// On a terminal, and only with something to show.
TEST(LogCommands, Pager) {
    const std::string less = "text /usr/bin/less \"\"\n";
    const auto shown = [](const std::string& lines, const std::vector<std::string>& words) {
        Made machine(lines);
        save("/a.wyrt", logOf({2, 4}));
        printed([&] { runHere(words); });
        return machine.log();
    };
    unsetenv("WYRT_PAGER"), unsetenv("PAGER");
    EXPECT_EQ(shown("terminal\n" + less, {"show", "/a.wyrt"}), "pager less -FRSX\n");
    EXPECT_EQ(shown("terminal\n" + less, {"why", "/a.wyrt"}), "pager less -FRSX\n");
    EXPECT_EQ(shown("terminal\n" + less, {"why", "/a.wyrt", "--no-pager"}), "");
    EXPECT_EQ(shown("terminal\n", {"show", "/a.wyrt"}), "");
    EXPECT_EQ(shown("terminal\n" + less, {"show", "/a.wyrt", "--no-pager"}), "");
    EXPECT_EQ(shown("terminal\n" + less, {"show", "/a.wyrt", "-o", "/out"}), "");
    EXPECT_EQ(shown("terminal\n" + less, {"show", "/none"}), "");
    EXPECT_EQ(shown(less, {"show", "/a.wyrt"}), "");
    setenv("WYRT_PAGER", "", 1);
    EXPECT_EQ(shown("terminal\n" + less, {"show", "/a.wyrt"}), "");
    unsetenv("WYRT_PAGER");
}

TEST(LogCommands, ColorsOnATerminalUnlessTheyAreNotWanted) {
    unsetenv("NO_COLOR");
    const auto isColored = [](const char* lines, std::vector<std::string> words) {
        Made machine(lines);
        save("/a.wyrt", logOf({2, 4}));
        return run(std::move(words)).find("\033[") != std::string::npos;
    };
    EXPECT_TRUE(isColored("terminal\n", {"show", "/a.wyrt"}));
    EXPECT_TRUE(isColored("terminal\n", {"why", "/a.wyrt"}));
    EXPECT_FALSE(isColored("terminal\n", {"show", "/a.wyrt", "--color", "never"}));
    EXPECT_FALSE(isColored("", {"show", "/a.wyrt"}));
    EXPECT_TRUE(isColored("", {"show", "/a.wyrt", "--color", "always"}));
    setenv("NO_COLOR", "1", 1);
    EXPECT_FALSE(isColored("terminal\n", {"show", "/a.wyrt"}));
    unsetenv("NO_COLOR");
}

TEST(LogCommands, DamageIsLeftOutUnlessItIsAskedFor) {
    Made machine("");
    const auto good = logOf({2, 4});
    const auto bad = changed(good, "CPU,2026-11-21T14:05:12", "CPU,2026-11-21T14:05:13");
    save("/bad.wyrt", bad);
    save("/torn.wyrt", good.substr(0, good.size() - 20));
    const auto said = run({"show", "/bad.wyrt"});
    EXPECT_EQ(countOf(said, "\nCPU "), 1U) << said;
    EXPECT_NE(said.find("wyrt: 1 interval is damaged or cut short and left out (--damaged"), std::string::npos) << said;
    EXPECT_TRUE(said.ends_with("status 0\n")) << said;
    const auto all = run({"show", "/bad.wyrt", "--damaged"});
    EXPECT_EQ(countOf(all, "\nCPU "), 2U) << all;
    EXPECT_EQ(countOf(all, "DAMAGED"), 1U) << all;
    const auto both = run({"show", "/bad.wyrt", "/torn.wyrt"});
    EXPECT_EQ(countOf(both, "\nCPU "), 2U) << both;
    EXPECT_NE(both.find("wyrt: 2 intervals are damaged"), std::string::npos) << both;
    const auto info = run({"info", "--check", "/bad.wyrt", "/torn.wyrt"});
    EXPECT_NE(info.find("\ndamaged     1, and the end is cut short\n"), std::string::npos) << info;
    // What the figures mean is uncertain when the head is damaged.
    save("/head.wyrt", changed(good, "#CPU:role", "#CPU:roll"));
    const auto none = run({"show", "/head.wyrt"});
    EXPECT_NE(none.find("wyrt: there is no interval to show"), std::string::npos) << none;
    EXPECT_TRUE(none.ends_with("status 1\n")) << none;
}

TEST(LogCommands, FiguresBeyondAnyMachine) {
    Made machine("");
    auto interval = intervalAt(Start);
    interval.cpu.rows[0].load1 = 1e308, interval.cpu.rows[0].load5 = -1e308;
    interval.cpu.rows[0].switches = UINT64_MAX;
    interval.elapsed_us = INT64_MIN / 1000000 * 100000;
    std::string log;
    LogWriter writer;
    ViewRow view;
    view.areas = "cpu";
    writer.head(Head, view, {Start, 60}, log);
    writer.interval(interval, log);
    save("/a.wyrt", log);
    const auto said = run({"show", "/a.wyrt"});
    EXPECT_NE(said.find(" -1000000"), std::string::npos) << said;
    EXPECT_TRUE(said.ends_with("status 0\n")) << said;
    const auto told = run({"info", "/a.wyrt"});
    EXPECT_TRUE(told.ends_with("status 0\n")) << told;
}

TEST(LogCommands, InfoTellsWhatALogHolds) {
    Made machine("");
    auto restarted = Head;
    restarted.run = "run2";
    save("/a.wyrt", logOf({2, 4, 14}));
    save("/b.wyrt", logOf({16}, restarted));
    const auto said = run({"info", "--check", "/a.wyrt", "/b.wyrt"});
    for (const char* line :
         {"host        db7\n", "\nprogram     wyrt 1.2.0\n", "\nfrom        2026-11-21T14:05:10.000+01:00\n",
          "\nto          2026-11-21T14:05:26.000+01:00\n", "\nintervals   4\n", "\ngaps        1, 8",
          "\nrestarts    1\n", "\ndamaged     0\n", "\nlate        0\n", "\nCPU "})
        EXPECT_NE(said.find(line), std::string::npos) << line << said;
    EXPECT_NE(
        said.find("\nbytes       " + std::to_string(logOf({2, 4, 14}).size() + logOf({16}, restarted).size()) + "\n"),
        std::string::npos)
        << said;
    EXPECT_TRUE(said.ends_with("status 0\n")) << said;
}

TEST(LogCommands, ToAFile) {
    Made machine("dir /folder\n");
    save("/a.wyrt", logOf({2}));
    for (const char* command : {"show", "info"}) {
        EXPECT_EQ(run({command, "/a.wyrt", "-o", "/out"}), "status 0\n");
        const auto said = run({command, "/a.wyrt", "-o", "/folder"});
        EXPECT_EQ(said, "wyrt: '/folder': Is a directory\nstatus 1\n");
    }
}

// It would be emptied before it is read.
TEST(LogCommands, ALogIsNoOutput) {
    Made machine("dir /logs\nlink /again /logs/a.wyrt\n");
    const auto log = logOf({2});
    save("/logs/a.wyrt", log);
    for (const char* command :
         {"show", "why", "stats", "info", "chart", "export --format csv", "export --format jsonl"})
        for (const char* operand : {"/logs/a.wyrt", "/logs", "/again"})
            for (const char* output : {"/logs/a.wyrt", "/again"}) {
                std::istringstream parts(command);
                std::vector<std::string> words{std::istream_iterator<std::string>(parts), {}};
                words.insert(words.end(), {operand, "-o", output});
                EXPECT_EQ(printed([&] { EXPECT_EQ(runHere(words), 1); }, STDERR_FILENO),
                          "wyrt: '" + std::string(output) +
                              "' is one of the logs: writing it would destroy what is to be read\n")
                    << command << " " << operand;
                EXPECT_EQ(World::current->find("/logs/a.wyrt")->text, log) << command << " " << operand;
            }
}

TEST(LogCommands, AFullDisk) {
    Made machine("fail write /out ENOSPC\n");
    save("/a.wyrt", logOf({2}));
    for (const char* command : {"show", "info"}) {
        const auto said = run({command, "/a.wyrt", "-o", "/out"});
        EXPECT_TRUE(said.ends_with(": No space left on device\nstatus 1\n")) << said;
        EXPECT_EQ(countOf(said, "\n"), 2U) << said;
    }
}

TEST(LogCommands, WhatIsNoLog) {
    Made machine("text /empty \"\"\ntext /other \"one,two\\n\"\nfail read /broken EIO\ntext /broken \"x\"\n");
    save("/a.wyrt", logOf({2}));
    for (const char* name : {"/empty", "-"}) {
        const auto shown = run({"show", name}), told = run({"info", name});
        EXPECT_TRUE(shown.ends_with("wyrt: there is no interval to show\nstatus 1\n")) << name << shown;
        EXPECT_TRUE(told.ends_with("wyrt: this is no log of wyrt\nstatus 1\n")) << name << told;
    }
    save("/classic", "^TIME,1,2,3\n");
    const std::string other = "wyrt: '/other': this is no log of wyrt\n",
                      classic = "wyrt: '/classic': this is a classic log, which wyrt export reads from a file\n";
    for (const char* command : {"show", "why", "stats", "info"}) {
        EXPECT_EQ(run({command, "/other"}), other + "status 1\n");
        EXPECT_EQ(run({command, "/classic"}), classic + "status 1\n");
        // The good log is read all the same.
        const auto good = run({command, "/a.wyrt"}), both = run({command, "/other", "/a.wyrt", "/classic"});
        EXPECT_TRUE(good.ends_with("status 0\n")) << good;
        for (const auto& line : {other, classic}) EXPECT_EQ(countOf(both, line), 1U) << both;
        EXPECT_EQ(both.size(), good.size() + other.size() + classic.size()) << both;
        EXPECT_TRUE(both.ends_with("status 1\n")) << both;
    }
    // One that was cut short is a log.
    save("/head.wyrt", logOf({2}).substr(0, 100));
    EXPECT_TRUE(run({"show", "/head.wyrt"}).ends_with("wyrt: there is no interval to show\nstatus 1\n"));
    const auto broken = run({"show", "/broken", "/a.wyrt"});
    EXPECT_NE(broken.find("wyrt: '/broken': Input/output error\n"), std::string::npos) << broken;
    EXPECT_NE(broken.find("\nCPU "), std::string::npos) << broken;
    EXPECT_TRUE(broken.ends_with("status 1\n")) << broken;
}

TEST(LogCommands, AFolderWithoutLogs) {
    Made machine("dir /empty\ntext /other/notes.txt \"x\"\n");
    for (const char* command : {"show", "info", "why", "stats"}) {
        EXPECT_EQ(run({command, "/empty"}), "wyrt: '/empty' is a folder without logs\nstatus 1\n") << command;
        EXPECT_EQ(run({command, "/other"}), "wyrt: '/other' is a folder without logs\nstatus 1\n") << command;
        EXPECT_EQ(run({command, "/empty", "/other"}), "wyrt: there are no logs in these folders\nstatus 1\n");
    }
}

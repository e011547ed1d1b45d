#include "wyrtlog/options.h"

#include "view/areas.h"

#include <gtest/gtest.h>

static bool isLog(const std::string& name) { return name.starts_with("./") || name.ends_with(".wyrt"); }

static CommandLine parsed(const std::vector<std::string>& words) { return parseCommandLine(words, isLog); }

TEST(LogOptions, EmptyValues) {
    EXPECT_EQ(parsed({"show", "--user=", "--every", "1h"}).why, "-u,--user has an empty argument");
    EXPECT_EQ(parsed({"show", "--tree="}).why, "--tree takes no empty argument");
}

TEST(LogOptions, NothingAskedFor) {
    const auto line = parsed({"show"});
    EXPECT_EQ(line.why + line.help, "");
    EXPECT_EQ(line.asked.task, LogTask::Show);
    EXPECT_TRUE(line.asked.areas.empty() && line.asked.logs.empty() && line.asked.output.empty());
    const auto& table = line.asked.table;
    EXPECT_FALSE(table.rows || table.sort || table.user || table.pid || table.command || table.cgroup || table.by);
    EXPECT_FALSE(table.partitions || table.tree || line.asked.damaged || line.asked.color != Color::Auto);
    EXPECT_EQ(parsed({"info"}).asked.task, LogTask::Info);
}

TEST(LogOptions, EveryOption) {
    const auto line = parsed({"show",     "disk",          "a.wyrt",       "-n",        "3",         "--sort=busy",
                              "-u",       "root",          "-p",           "42",        "--command", "rsync|ps",
                              "--cgroup", "/system.slice", "--partitions", "--damaged", "--color",   "always",
                              "-o",       "out",           "mem",          "-"});
    ASSERT_EQ(line.why, "");
    const auto& asked = line.asked;
    EXPECT_EQ(asked.areas, "disk mem");
    EXPECT_EQ(asked.logs, (std::vector<std::string>{"a.wyrt", "-"}));
    EXPECT_EQ(asked.table.rows, "3");
    EXPECT_EQ(asked.table.sort, "busy");
    EXPECT_EQ(asked.table.user, "root");
    EXPECT_EQ(asked.table.pid, "42");
    EXPECT_EQ(asked.table.command, "rsync|ps");
    EXPECT_EQ(asked.table.cgroup, "/system.slice");
    EXPECT_EQ(asked.output, "out");
    EXPECT_TRUE(asked.table.partitions && asked.damaged && asked.color == Color::Always);
    EXPECT_EQ(parsed({"show", "--color", "never"}).asked.color, Color::Never);
    EXPECT_EQ(parsed({"show", "--color", "auto"}).asked.color, Color::Auto);
}

TEST(LogOptions, AnAreasWordIsAnAreaAndAnythingElseALog) {
    EXPECT_EQ(parsed({"show", "./disk"}).asked.logs, std::vector<std::string>{"./disk"});
    EXPECT_EQ(parsed({"show", "disk"}).asked.areas, "disk");
    std::string all;
    for (auto& area : areas()) all.append(all.empty() ? "" : " ").append(area.word);
    EXPECT_EQ(parsed({"show", "all"}).asked.areas, all);
    EXPECT_EQ(parsed({"info", "all.wyrt"}).asked.logs, std::vector<std::string>{"all.wyrt"});
}

TEST(LogOptions, WhatIsRefused) {
    const struct {
        std::vector<std::string> words;
        const char* why;
    } Cases[] = {
        {{"show", "dsik"}, "'dsik' is no log and no area; the nearest area is disk"},
        {{"stats", "dsik"}, "'dsik' is no log and no area; the nearest area is disk"},
        {{"show", "--intreval", "2"}, "there is no option '--intreval'; the nearest is --until"},
        {{"show", "-z"}, "there is no option '-z'; the nearest is -h"},
        {{"show", "--user"}, "--user needs a value: USER"},
        {{"info", "disk"}, "'disk' is no log"},
        {{"show", "-n", "0"}, "the number of rows '0' is no number above 0"},
        {{"show", "-n", "1x"}, "the number of rows '1x' is no number above 0"},
        {{"show", "-n", "-1"}, "the number of rows '-1' is no number above 0"},
        {{"show", "-n", "99999999999999999999"}, "the number of rows '99999999999999999999' is no number above 0"},
        {{"show", "--color", "red"}, "--color takes auto, always or never, not 'red'"},
    };
    for (auto& c : Cases) EXPECT_EQ(parsed(c.words).why, c.why);
    // The library's own words: only that they name the option.
    for (auto& words : std::vector<std::vector<std::string>>{{"show", "--nonsense"}, {"info", "--sort", "busy"}})
        EXPECT_NE(parsed(words).why.find(words[1]), std::string::npos) << parsed(words).why;
    EXPECT_NE(parsed({"show", "-n"}).why, "");
}

TEST(LogOptions, HelpNamesEveryOptionAndArea) {
    const auto show = parsed({"show", "--help"}).help;
    EXPECT_TRUE(show.starts_with("wyrt show [AREA...] [LOG...] [OPTION...]\n")) << show;
    for (const char* word : {"--damaged", "--output", "--rows", "--sort", "--user", "--pid", "--command", "--cgroup",
                             "--partitions", "--color", LogFolder})
        EXPECT_NE(show.find(word), std::string::npos) << word;
    for (auto& area : areas()) EXPECT_NE(show.find("  " + std::string(area.word) + " "), std::string::npos);
    const auto info = parsed({"info", "-h"}).help;
    EXPECT_TRUE(info.starts_with("wyrt info [LOG...] [OPTION...]\n")) << info;
    EXPECT_EQ(info.find("--rows"), std::string::npos);
    EXPECT_EQ(info.find("areas\n"), std::string::npos);
}

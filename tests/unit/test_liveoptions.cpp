#include "wyrt/options.h"

#include "view/areas.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

static Parsed parsed(Task task, std::vector<const char*> words) {
    words.insert(words.begin(), {"wyrt", "live"});
    return parseOptions(task, static_cast<int>(words.size()), words.data());
}
static Parsed live(const std::vector<const char*>& words) { return parsed(Task::Live, words); }

static std::string allAreas() {
    std::string words;
    for (const auto& area : areas()) words.append(words.empty() ? "" : " ").append(area.word);
    return words;
}

TEST(LiveOptions, NothingAskedFor) {
    const auto p = live({});
    ASSERT_EQ(p.kind, Parsed::Run) << p.text;
    EXPECT_EQ(p.settings.view.interval_us, 2000000U);
    EXPECT_FALSE(p.settings.count);
    EXPECT_FALSE(p.settings.view.rows);
    EXPECT_TRUE(p.settings.save.empty() && p.settings.output.empty() && p.settings.root.empty());
    EXPECT_EQ(p.settings.color, Color::Auto);
    EXPECT_FALSE(p.settings.scroll || p.settings.view.partitions);
    std::string words;
    for (const auto& area : areas())
        if (area.byDefault) words.append(words.empty() ? "" : " ").append(area.word);
    EXPECT_EQ(p.settings.view.areas, words);
    EXPECT_EQ(parsed(Task::Record, {}).settings.view.areas, allAreas());
    EXPECT_EQ(parsed(Task::Check, {}).settings.view.areas, allAreas());
}

TEST(LiveOptions, EveryOption) {
    const auto p = live({"--command",   "rsync|ps", "-i",           "500ms", "-c5",     "-n",       "3",
                         "--sort=busy", "-u",       "root",         "-p",    "0042",    "--cgroup", "/system.slice",
                         "--save",      "a.wyrt",   "-o",           "out",   "--color", "never",    "--scroll",
                         "--root",      "/mnt",     "--partitions", "self",  "disk",    "self"});
    ASSERT_EQ(p.kind, Parsed::Run) << p.text;
    const auto& s = p.settings;
    EXPECT_EQ(s.view.areas, "disk self"); // in the list's order, once
    EXPECT_EQ(s.view.interval_us, 500000U);
    EXPECT_EQ(s.count, 5U);
    EXPECT_EQ(s.view.rows, 3U);
    EXPECT_EQ(s.view.sort, "busy");
    EXPECT_EQ(s.view.user, "root");
    EXPECT_EQ(s.view.pid, "42");
    EXPECT_EQ(s.view.command, "rsync|ps");
    EXPECT_EQ(s.view.cgroup, "/system.slice");
    EXPECT_EQ(s.save, "a.wyrt");
    EXPECT_EQ(s.output, "out");
    EXPECT_EQ(s.root, "/mnt");
    EXPECT_EQ(s.color, Color::Never);
    EXPECT_TRUE(s.scroll && s.view.partitions);
}

TEST(LiveOptions, OperandsAreAreasThenIntervalAndCount) {
    struct Case {
        std::vector<const char*> words;
        uint64_t interval_us;
        std::optional<uint64_t> count;
    };
    const Case cases[] = {
        {{"cpu", "5"}, 5000000, {}},       {{"5", "cpu"}, 5000000, {}},
        {{"cpu", "2", "5"}, 2000000, 5},   {{"cpu", "500ms", "5"}, 500000, 5},
        {{"1", "cpu", "7"}, 1000000, 7},   {{"cpu", "3", "-c", "4"}, 3000000, 4},
        {{"cpu", "--", "3"}, 3000000, {}}, {{"cpu", "-i", "1", "-i", "4"}, 4000000, {}},
    };
    for (const auto& c : cases) {
        const auto p = live(c.words);
        ASSERT_EQ(p.kind, Parsed::Run) << p.text;
        EXPECT_EQ(p.settings.view.areas, "cpu");
        EXPECT_EQ(p.settings.view.interval_us, c.interval_us);
        EXPECT_EQ(p.settings.count, c.count);
    }
    EXPECT_EQ(live({"all"}).settings.view.areas, allAreas());
    EXPECT_EQ(live({"cpu", "all"}).settings.view.areas, allAreas());
}

// One of the areas must know the word, not each.
TEST(LiveOptions, WordsOfSort) {
    for (const auto& area : areas())
        for (const auto word : sortWords(area.word))
            EXPECT_EQ(live({"cpu", std::string(area.word).c_str(), "--sort", std::string(word).c_str()}).kind,
                      Parsed::Run)
                << area.word << " " << word;
    EXPECT_TRUE(sortWords("cpu mem").empty());
    EXPECT_EQ(sortWords("disk net").size(), 8U); // read and write once
    EXPECT_EQ(parsed(Task::Record, {"net", "--sort", "packets"}).kind, Parsed::Run);
    EXPECT_EQ(parsed(Task::Record, {"--sort", "packtes"}).kind, Parsed::Wrong);
}

// A word that follows an option is its value, whatever it looks like. Words after -- are operands.
TEST(LiveOptions, ValuesLikeEmptyOptions) {
    EXPECT_EQ(live({"--command", "--user="}).settings.view.command, "--user=");
    EXPECT_EQ(live({"-u", "--user="}).settings.view.user, "--user=");
    EXPECT_EQ(live({"--user=", "--help"}).kind, Parsed::Help);
    EXPECT_NE(live({"--", "--user="}).text.find("no area '--user='"), std::string::npos);
}

TEST(LiveOptions, WrongUsageIsOneLineThatNamesIt) {
    struct Case {
        std::vector<const char*> words;
        const char* text; // is in the message
    };
    const std::string huge(300, 'x');
    const Case cases[] = {
        {{"cpuu"}, "there is no area 'cpuu'; the nearest is cpu"},
        {{"CPU"}, "there is no area 'CPU'"},
        {{""}, "there is no area ''"},
        {{"x\nwyrt: all is well\x1b[2J"}, "there is no area 'x?wyrt: all is well?[2J'"},
        {{"-i", "fast"}, "'fast'"},
        {{"-i", "0"}, "not between 10ms and 1d"},
        {{"-i", "9ms"}, "not between 10ms and 1d"},
        {{"-i", "2d"}, "not between 10ms and 1d"},
        {{"-i"}, "--interval"},
        {{"-i", ""}, "empty"},
        {{"--user=", "-c", "1"}, "-u,--user has an empty argument"},
        {{"--root=", "cpu"}, "--root has an empty argument"},
        {{"--user=root", "--interval=", "1"}, "-i,--interval has an empty argument"},
        {{"-u", "root", "--limit="}, "--limit has an empty argument"},
        {{"--scroll="}, "--scroll takes no empty argument"},
        {{"--none="}, "no option '--none='"},
        {{"-c", "0"}, "count '0'"},
        {{"-c", "-1"}, "'-1'"},
        {{"-c", "many"}, "'many'"},
        {{"2", "0"}, "count '0'"},
        {{"2", "5", "8"}, "'8' is one too many"},
        {{"-i", "1", "2"}, "the interval is given twice: '1' and '2'"},
        {{"2", "3", "-c", "1"}, "the count is given twice"},
        {{"-n", "0"}, "number of rows '0'"},
        {{"-p", "self"}, "process 'self'"},
        {{"--color", "red"}, "'red'"},
        {{"--save"}, "--save"},
        {{"--save="}, "--save"},
        {{"--command", "a("}, "no regular expression"},
        {{"--command", huge.c_str()}, "--command takes at most 256 bytes"},
        {{"--sort", "wirte"}, "--sort has no word 'wirte' for these areas; the nearest is write"},
        {{"net", "--sort", "busy"}, "--sort has no word 'busy' for these areas; the nearest is bytes"},
        {{"cpu", "mem", "--sort", "busy"}, "--sort has no word for these areas, not even 'busy'"},
        {{"--sort", "busy read"}, "--sort has no word 'busy read'"},
        {{"--bogus"}, "--bogus"},
        {{"-x"}, "-x"},
        {{"--bo\ngus"}, "bo?gus"},
        {{"--scroll=maybe"}, "maybe"},
    };
    for (const auto& c : cases) {
        const auto p = live(c.words);
        EXPECT_EQ(p.kind, Parsed::Wrong) << c.text;
        EXPECT_NE(p.text.find(c.text), std::string::npos) << p.text;
        EXPECT_EQ(p.text.find_first_of("\n\x1b"), std::string::npos) << p.text;
    }
}

TEST(LiveOptions, EachCommandHasItsOwn) {
    for (const char* option : {"--scroll", "--save", "--color"})
        EXPECT_EQ(parsed(Task::Record, {option, "always"}).kind, Parsed::Wrong) << option;
    EXPECT_EQ(parsed(Task::Record, {"-o", "x", "-i", "10s", "cpu"}).settings.output, "x");
    EXPECT_EQ(parsed(Task::Check, {"-i", "1s"}).kind, Parsed::Wrong);
    EXPECT_EQ(parsed(Task::Check, {"5"}).kind, Parsed::Wrong);
    EXPECT_EQ(parsed(Task::Check, {"--root", "/mnt", "cpu"}).settings.root, "/mnt");
}

TEST(LiveOptions, HelpShowsOptionsAndAreas) {
    for (const auto task : {Task::Live, Task::Record, Task::Check})
        for (const char* word : {"-h", "--help"}) {
            const auto p = parsed(task, {word});
            ASSERT_EQ(p.kind, Parsed::Help);
            for (const auto& area : areas()) EXPECT_NE(p.text.find("\n  " + std::string(area.word) + " "), p.text.npos);
            EXPECT_NE(p.text.find("\n  all "), p.text.npos);
            EXPECT_EQ(p.text.find("--interval TIME") != p.text.npos, task != Task::Check);
            EXPECT_EQ(p.text.find("--save FILE") != p.text.npos, task == Task::Live);
            for (size_t at = 0, end; (end = p.text.find('\n', at)) != p.text.npos; at = end + 1)
                EXPECT_LE(end - at, 120U) << p.text.substr(at, end - at);
        }
}

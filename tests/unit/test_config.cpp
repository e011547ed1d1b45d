// Options in files.
#include "base/config.h"

#include "tests/unit/made.h"
#include "view/areas.h"
#include "wyrt/options.h"

static std::string textOf(const std::vector<ConfigLine>& lines) {
    std::string text;
    for (const auto& line : lines) text += line.place + " [" + line.option + "] [" + line.value + "]\n";
    return text;
}

TEST(Config, LinesOfAFile) {
    std::vector<ConfigLine> lines;
    parseConfig("f", "# a comment\n\ninterval = 5s\n  max-use=1G  \r\n\ttree\n limit = cpu.busy=5 = x #1 \n=\nlast",
                lines);
    EXPECT_EQ(textOf(lines), "f:3 [interval] [5s]\nf:4 [max-use] [1G]\nf:5 [tree] []\n"
                             "f:6 [limit] [cpu.busy=5 = x #1]\nf:7 [] []\nf:8 [last] []\n");
    lines.clear();
    parseConfig("f", "", lines);
    EXPECT_TRUE(lines.empty());
}

TEST(Config, FilesInTheOrderOfTheirNames) {
    const Made machine("text /c/b.conf \"count = 2\"\ntext /c/a.conf \"count = 1\\ncount = 3\"\ntext /c/x.txt \"no\"\n"
                       "text /c/.hidden.conf \"no\"\ndir /empty\n");
    std::vector<ConfigLine> lines;
    std::string path;
    EXPECT_TRUE(readConfig("/c", lines, path));
    EXPECT_EQ(textOf(lines), "/c/a.conf:1 [count] [1]\n/c/a.conf:2 [count] [3]\n/c/b.conf:1 [count] [2]\n");
    EXPECT_TRUE(readConfig("/empty", lines, path));
    EXPECT_EQ(lines.size(), 3U);
    EXPECT_FALSE(readConfig("/none", lines, path));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(path, "/none");
}

TEST(Config, WhatCannotBeRead) {
    const Made machine(
        "text /c/b.conf \"\"\nfail open /c/b.conf EACCES\ntext /d/b.conf \"\"\nfail read /d/b.conf EIO\n");
    std::vector<ConfigLine> lines;
    std::string path;
    EXPECT_FALSE(readConfig("/c", lines, path));
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(path, "/c/b.conf");
    EXPECT_FALSE(readConfig("/d", lines, path));
    EXPECT_EQ(errno, EIO);
}

// --- Lines and the command line

static Parsed parsed(std::vector<const char*> words, const std::string& text) {
    std::vector<ConfigLine> lines;
    parseConfig("f", text, lines);
    words.insert(words.begin(), {"wyrt", "record"});
    return parseOptions(Task::Record, static_cast<int>(words.size()), words.data(), &lines);
}

TEST(Config, LinesAreOptions) {
    const auto p = parsed({}, "dir = /var/log/wyrt\nareas = disk  cpu\ninterval = 5s\nmax-use = 500M\nkeep-free = 64K\n"
                              "max-age = 2h\nsync = 30s\ncount = 7\nrows = 3\ntree\nlimit = disk.wait=50ms\n");
    ASSERT_EQ(p.kind, Parsed::Run) << p.text;
    const auto& s = p.settings;
    EXPECT_EQ(s.dir, "/var/log/wyrt");
    EXPECT_EQ(s.view.areas, "cpu disk");
    EXPECT_EQ(s.view.interval_us, 5000000U);
    EXPECT_EQ(s.keep.max_use, 500U << 20);
    EXPECT_EQ(s.keep.keep_free, 65536U);
    EXPECT_EQ(s.keep.max_age_ms, 7200000);
    EXPECT_EQ(s.sync_us, 30000000);
    EXPECT_EQ(s.count, 7U);
    EXPECT_EQ(s.view.rows, 3U);
    EXPECT_TRUE(s.view.tree);
}

TEST(Config, TheCommandLineHasTheLastWord) {
    const auto p =
        parsed({"mem", "3", "--dir", "/x", "--max-use=1G"},
               "dir = /var/log/wyrt\nareas = disk\ninterval = 5s\nmax-use = 500M\nmax-age = 1d\nmax-age = 2d\n");
    ASSERT_EQ(p.kind, Parsed::Run) << p.text;
    EXPECT_EQ(p.settings.dir, "/x");
    EXPECT_EQ(p.settings.view.areas, "mem");
    EXPECT_EQ(p.settings.view.interval_us, 3000000U);
    EXPECT_EQ(p.settings.keep.max_use, 1U << 30);
    EXPECT_EQ(p.settings.keep.max_age_ms, 2 * 86400 * 1000); // the last line
}

TEST(Config, AFolderHasItsOwnDefaults) {
    const auto p = parsed({"--dir", "/x"}, "");
    ASSERT_EQ(p.kind, Parsed::Run) << p.text;
    EXPECT_EQ(p.settings.view.interval_us, 10000000U);
    EXPECT_EQ(p.settings.keep.max_use, uint64_t{2} << 30);
    EXPECT_FALSE(p.settings.keep.keep_free); // depends on the filesystem
    EXPECT_EQ(p.settings.keep.max_age_ms, 14LL * 86400 * 1000);
    EXPECT_EQ(p.settings.sync_us, 60000000);
    EXPECT_EQ(parsed({"--dir", "/x", "-i", "2s"}, "").settings.view.interval_us, 2000000U);
    EXPECT_EQ(parsed({}, "").settings.view.interval_us, 2000000U);
}

TEST(Config, AWrongLineIsNamed) {
    struct Case {
        const char *text, *why;
    };
    const Case cases[] = {
        {"maxuse = 1G", "f:1: there is no option 'maxuse'; the nearest is max-use"},
        {"\n\nhelp", "f:3: there is no option 'help'"},
        {"config = /x", "f:1: there is no option 'config'"},
        {"-i = 5", "f:1: there is no option '-i'"},
        {"= 5", "f:1: there is no option ''"},
        {"max-use = many", "f:1: --max-use takes a size like 2G or 500M, not 'many'"},
        {"max-use = 1000K", "f:1: --max-use is at least 1M, not '1000K'"},
        {"max-use =", "f:1: max-use has no value"},
        {"keep-free = 1.5G", "f:1: --keep-free takes a size"},
        {"max-age = old", "f:1: --max-age takes a time like 14d or 60s, not 'old'"},
        {"sync = x", "f:1: --sync takes a time"},
        {"interval = 0", "f:1: the interval '0' is not between 10ms and 1d"},
        {"areas = cpuu", "f:1: there is no area 'cpuu'; the nearest is cpu"},
        {"tree = perhaps", "f:1: "},
        {"dir = /x\nx\x1b[2J = 1", "f:2: there is no option 'x?[2J'"},
    };
    for (const auto& c : cases) {
        const auto p = parsed({}, c.text);
        EXPECT_EQ(p.kind, Parsed::Wrong) << c.text;
        EXPECT_TRUE(p.text.starts_with(c.why)) << p.text;
        EXPECT_EQ(p.text.find_first_of("\n\x1b"), p.text.npos);
    }
}

TEST(Config, WhatGoesTogether) {
    EXPECT_EQ(parsed({"--max-use", "1G"}, "").kind, Parsed::Wrong);
    EXPECT_EQ(parsed({"--max-age", "1d"}, "").kind, Parsed::Wrong);
    EXPECT_EQ(parsed({"--sync", "10s"}, "").kind, Parsed::Wrong);
    EXPECT_EQ(parsed({"--dir", "/x", "-o", "y"}, "").kind, Parsed::Wrong);
    EXPECT_EQ(parsed({"--config", "/x"}, "").kind, Parsed::Wrong); // no folder for the logs
    const char* words[] = {"wyrt", "record", "--config", "/x", "--max-use", "1G"};
    EXPECT_EQ(parseOptions(Task::Record, 6, words).kind, Parsed::Run); // its files may name one
    words[1] = "live";
    EXPECT_EQ(parseOptions(Task::Live, 6, words).kind, Parsed::Wrong);
}

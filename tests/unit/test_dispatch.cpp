#include "wyrt/dispatch.h"

#include "base/refusal.h"
#include "tests/unit/made.h"
#include "wyrt/version.h"

#include <cstdlib>

// Replaces the classic form: returns 100 + the number of its arguments, -1 when their list does not end in null.
static int countArguments(int argc, char** argv) {
    for (int i = 0; i < argc; i++)
        if (!argv[i]) std::abort();
    return argv[argc] ? -1 : 100 + argc;
}

static int statusOf(std::vector<std::string> words) {
    std::vector<char*> argv;
    for (auto& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    return wyrtMain(static_cast<int>(words.size()), argv.data(), countArguments);
}

TEST(Dispatch, WhatIsNoCommandIsClassic) {
    EXPECT_EQ(statusOf({}), 100);
    EXPECT_EQ(statusOf({"wyrt"}), 101);
    for (const char* word : {"-b", "-h", "--", "", "-", "--hel", "--helpp", "--versio", "SHOW", "./show", "show.txt",
                             "whale", "pile", "swerved", "help", "version", "-show", "wohs"})
        EXPECT_EQ(statusOf({"wyrt", word, "show"}), 103) << word;
}

TEST(Dispatch, OnlyTheFirstArgumentDecides) {
    EXPECT_EQ(statusOf({"wyrt", "-b", "--help"}), 103);
    EXPECT_EQ(statusOf({"wyrt", "-b", "--version"}), 103);
    EXPECT_EQ(statusOf({"wyrt", "-b", "shwo"}), 103);
}

TEST(Dispatch, NearlyACommandIsAnErrorThatNamesIt) {
    struct Case {
        const char *word, *meant;
    };
    for (const auto& c : {Case{"shwo", "show"},
                          {"shows", "show"},
                          {"sho", "show"},
                          {"shew", "show"},
                          {"how", "show"},
                          {"Show", "show"},
                          {"-show", ""},
                          {"inof", "info"},
                          {"in", ""},
                          {"sh", ""},
                          {"show", ""},
                          {"", ""},
                          {"wosh", ""}})
        EXPECT_EQ(nearlyCommand(c.word), c.meant) << c.word;
    const auto text = printed([] { EXPECT_EQ(statusOf({"wyrt", "shwo", "x"}), 2); }, STDERR_FILENO);
    EXPECT_EQ(text, "wyrt: there is no command 'shwo'; the nearest is show (see wyrt --help)\n");
    EXPECT_EQ(printed([] { EXPECT_EQ(statusOf({"wyrt", "sh\now"}), 2); }, STDERR_FILENO),
              "wyrt: there is no command 'sh?ow'; the nearest is show (see wyrt --help)\n");
}

TEST(Dispatch, HelpIsOneScreenAndVersionOneLine) {
    const auto help = printed([] { EXPECT_EQ(statusOf({"wyrt", "--help", "nonsense"}), 0); });
    EXPECT_LE(std::count(help.begin(), help.end(), '\n'), 24);
    EXPECT_NE(help.find("\n  show "), help.npos);
    for (size_t at = 0, end; (end = help.find('\n', at)) != help.npos; at = end + 1)
        EXPECT_LE(end - at, 100U) << help.substr(at, end - at);
    EXPECT_EQ(printed([] { EXPECT_EQ(statusOf({"wyrt", "--version"}), 0); }),
              std::string("wyrt ") + programVersion() + "\n");
}

TEST(Dispatch, AnotherProgramDoesShow) {
    Made nowhere("link /proc/self/exe /opt/w/bin/wyrt\n");
    EXPECT_EQ(printed([] { EXPECT_EQ(statusOf({"wyrt", "show", "x"}), 1); }, STDERR_FILENO),
              "wyrt: wyrtlog, which does show, cannot be started: it is neither beside this program nor in "
              "../libexec/wyrt nor in PATH; Debian's package wyrtlog has it\n");
    struct Case {
        const char *files, *log;
    };
    for (const auto& c : {Case{"link /proc/self/exe /opt/w/bin/wyrt\ntext /opt/w/bin/wyrtlog \"\"\n",
                               "become /opt/w/bin/wyrtlog show x.wyrt -n 5\n"},
                          {"link /proc/self/exe /opt/w/bin/wyrt\ntext /opt/w/libexec/wyrt/wyrtlog \"\"\n",
                           "become /opt/w/libexec/wyrt/wyrtlog show x.wyrt -n 5\n"},
                          {"text /usr/bin/wyrtlog \"\"\n", "become /usr/bin/wyrtlog show x.wyrt -n 5\n"}}) {
        Made machine(c.files);
        EXPECT_THROW(statusOf({"wyrt", "show", "x.wyrt", "-n", "5"}), TBecame);
        EXPECT_EQ(machine.log(), c.log);
    }
    Made locked("text /usr/bin/wyrtlog \"\"\nfail open /usr/bin/wyrtlog EACCES\n");
    EXPECT_EQ(printed([] { EXPECT_EQ(statusOf({"wyrt", "info"}), 1); }, STDERR_FILENO),
              "wyrt: wyrtlog, which does info, cannot be started: Permission denied\n");
}

TEST(Dispatch, ThatThereIsNoMemoryIsALine) {
    const auto none = []() -> int { throw std::bad_alloc(); };
    EXPECT_EQ(printed([&] { EXPECT_EQ(withinMemory(none), Failed); }, STDERR_FILENO),
              "wyrt: there is not enough memory\n");
}

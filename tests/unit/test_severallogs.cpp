// Several logs, and folders of them, read as one.
#include "tests/unit/cpulog.h"
#include "tests/unit/logcommand.h"

static std::string secondsOf(const std::string& text) {
    std::string seconds;
    for (size_t at = text.find("  2026-11-21 14:05:"); at != text.npos; at = text.find("  2026-11-21 14:05:", at + 1))
        seconds += text.substr(at + 19, 2) + " ";
    return seconds;
}

TEST(LogCommands, LogsAreReadInOrderOfTimeWhateverTheirNames) {
    Made machine("");
    save("/logs/a.wyrt", logOf({20, 22}, {"1", "db7", "boot", "b"}));
    save("/logs/b.wyrt", logOf({2, 4}, {"1", "db7", "boot", "a"}));
    save("/logs/c.wyrt.1", logOf({30}, {"1", "db7", "boot", "c"}));
    save("/logs/notes.txt", "no log");
    save("/logs/.wyrt", "no log either");
    EXPECT_EQ(secondsOf(run({"show", "/logs"})), "12 14 30 32 40 ");
    EXPECT_EQ(secondsOf(run({"show", "/logs/c.wyrt.1", "/logs/a.wyrt"})), "30 32 40 ");
    EXPECT_NE(run({"info", "/logs/"}).find("intervals   5"), std::string::npos);
}

TEST(LogCommands, LogsThatOverlapTakeTurnsAndWhatIsTwiceIsShownOnce) {
    Made machine("");
    save("/logs/a.wyrt", logOf({2, 4, 6}, {"1", "db7", "boot", "a"}));
    save("/logs/b.wyrt", logOf({3, 5, 7}, {"1", "db7", "boot", "b"}));
    EXPECT_EQ(secondsOf(run({"show", "/logs"})), "12 13 14 15 16 17 ");
    EXPECT_EQ(secondsOf(run({"show", "/logs/a.wyrt", "/logs/a.wyrt"})), "12 14 16 ");
    save("/logs/c.wyrt", logOf({2, 4, 6, 8}, {"1", "db7", "boot", "a"}));
    EXPECT_EQ(secondsOf(run({"show", "/logs/c.wyrt", "/logs/a.wyrt"})), "12 14 16 18 ");
}

// What is added up is not one host's.
TEST(LogCommands, LogsOfSeveralHostsAreCalledThat) {
    Made machine("");
    std::vector<std::string> logs;
    for (const auto& [host, all] : {std::pair("a", "a"), std::pair("b", "a and b"), std::pair("c", "a, b and c"),
                                    std::pair("d", "a, b, c and others"), std::pair("e", "a, b, c and others")}) {
        logs.push_back(std::string("/") + host + ".wyrt");
        save(logs.back(), logOf({2 * static_cast<int64_t>(logs.size())}, {"1", host, "boot", host}));
        const auto told = [&](const char* command) {
            auto words = logs;
            words.insert(words.begin(), command);
            return run(words);
        };
        EXPECT_TRUE(told("why").starts_with(std::string(all) + "  2026-11-21T")) << told("why");
        EXPECT_TRUE(told("stats").starts_with(std::string(all) + "  2026-11-21T")) << told("stats");
        EXPECT_TRUE(told("info").starts_with("host        " + std::string(all) + "\n")) << told("info");
    }
}

TEST(LogCommands, AFolderThatIsNamedLikeALogIsNone) {
    Made machine("dir /logs\ndir /logs/b.wyrt\n");
    save("/logs/a.wyrt", logOf({2, 4}));
    const auto said = run({"info", "/logs"});
    EXPECT_NE(said.find("intervals   2\n"), std::string::npos) << said;
    EXPECT_TRUE(said.ends_with("status 0\n")) << said;
}

TEST(LogCommands, WithoutOperandsTheFolderOfTheLogsIsRead) {
    Made machine("");
    EXPECT_NE(run({"show"}).find("'/var/log/wyrt': No such file or directory; name a log, or let wyrt "
                                 "record --dir /var/log/wyrt keep some\n"),
              std::string::npos);
    save("/var/log/wyrt/db7.wyrt", logOf({2}));
    EXPECT_EQ(secondsOf(run({"show"})), "12 ");
    EXPECT_NE(run({"info"}).find("intervals   1"), std::string::npos);
}

// What commands say while they read for long.
#include "tests/madelog.h"
#include "tests/unit/logcommand.h"

static std::string logOf(const char* run, int64_t from_ms) {
    ViewRow view;
    view.areas = "cpu";
    std::string log;
    LogWriter().head({"1.2.0", "db7", "boot", run}, view, {from_ms, 60}, log);
    for (uint64_t number = 1; number <= 3; number++) {
        Interval interval;
        interval.number = number, interval.elapsed_us = 2000000;
        interval.time = {from_ms + static_cast<int64_t>(number) * 2000, 60};
        interval.cpu.sampled = true, interval.cpu.elapsed_us = 2000000;
        interval.cpu.rows.emplace_back().user_us = 100000;
        LogWriter().interval(interval, log);
    }
    return log;
}

static std::string said(const std::string& lines, const std::vector<std::string>& words) {
    Made machine(lines);
    save("/a.wyrt", logOf("one", Start));
    save("/b.wyrt", logOf("two", Start + 60000));
    return run(words);
}

TEST(Progress, AfterASecondOnATerminal) {
    const std::string slow = "terminal\nslow 1200 /b.wyrt\n", line = "\rwyrt: up to 2026-11-21 14:05:12, ";
    for (const auto& words :
         {std::vector<std::string>{"stats", "--no-pager", "/a.wyrt", "/b.wyrt"},
          std::vector<std::string>{"info", "--check", "/a.wyrt", "/b.wyrt"},
          std::vector<std::string>{"export", "--format", "csv", "-o", "/c.csv", "/a.wyrt", "/b.wyrt"}}) {
        const auto text = said(slow, words);
        const auto at = text.find(line);
        ASSERT_NE(at, std::string::npos) << words[0] << ": " << text;
        // Opening takes so long twice; people need no line for each interval. The last one is wiped away.
        const auto last = text.rfind("wyrt: up to");
        EXPECT_EQ(text.find("wyrt: up to", at + line.size()), last) << text;
        EXPECT_NE(text.find("\r\x1B[K", last), std::string::npos) << text;
        EXPECT_TRUE(text.ends_with("status 0\n")) << text;
    }
}

TEST(Progress, Never) {
    const std::vector<std::string> stats{"stats", "--no-pager", "/a.wyrt", "/b.wyrt"};
    EXPECT_EQ(said("terminal\n", stats).find("up to"), std::string::npos);          // it does not take long
    EXPECT_EQ(said("slow 1200 /b.wyrt\n", stats).find("up to"), std::string::npos); // nobody sees it
    const std::string slow = "terminal\nslow 1200 /b.wyrt\n";
    for (const auto& words : {std::vector<std::string>{"export", "--format", "csv", "/a.wyrt", "/b.wyrt"},
                              std::vector<std::string>{"show", "--no-pager", "/a.wyrt", "/b.wyrt"},
                              std::vector<std::string>{"info", "/a.wyrt", "/b.wyrt"}})
        EXPECT_EQ(said(slow, words).find("up to"), std::string::npos) << words[0];
}

// A message about a log does not stand behind a line that is still there.
TEST(Progress, MessagesStandAlone) {
    const auto text = said("terminal\nslow 1200 /b.wyrt\nfail open /c.wyrt EACCES\ntext /c.wyrt \"x\"\n",
                           {"stats", "--no-pager", "/a.wyrt", "/b.wyrt", "/c.wyrt"});
    const auto at = text.find("wyrt: '/c.wyrt': Permission denied\n");
    ASSERT_NE(at, std::string::npos) << text;
    EXPECT_TRUE(at == 0 || text[at - 1] == 'K' || text[at - 1] == '\n') << text;
}

// A recorder's folder: the files of it that a span needs, and those that are still written.
#include "tests/unit/cpulog.h"
#include "tests/unit/logcommand.h"

// Files of an hour each; only those that a span needs are opened.
TEST(LogSpans, OnlyTheHoursOfTheSpanAreOpened) {
    Made machine("text /logs/db7-20261121T100000Z.wyrt \"\"\ntext /logs/db7-20261121T160000Z.wyrt.zst \"\"\n"
                 "fail open /logs/db7-20261121T100000Z.wyrt EACCES\n"
                 "fail open /logs/db7-20261121T160000Z.wyrt.zst EACCES\n");
    save("/logs/db7-20261121T130512Z.wyrt", logOf(2, 60));
    save("/logs/db7-20261121T130612Z_2.wyrt", logOf(62, 100, "run", 31));
    save("/logs/other.wyrt", logOf(500, 502, "other"));
    const auto shown = [](std::vector<std::string> words) {
        words.insert(words.begin(), {"show", "/logs"});
        return run(words);
    };
    EXPECT_EQ(timesOf(shown({"--at", "@1795266371"})), "14:06:12 ");
    EXPECT_EQ(timesOf(shown({"--since", "@1795266369", "--until", "@1795266374"})), "14:06:10 14:06:12 14:06:14 ");
    EXPECT_EQ(timesOf(shown({"--since", "@1795266811"})).substr(0, 9),
              "14:13:32 "); // of the other; the last is refused
    const auto all = shown({});
    EXPECT_NE(all.find("T100000Z.wyrt': Permission denied"), std::string::npos);
    EXPECT_TRUE(all.ends_with("status 1\n"));
    const auto span = shown({"--since", "@1795266369", "--until", "@1795266374"});
    EXPECT_TRUE(span.ends_with("status 0\n")) << span;
}

// While a log is compressed, it is there twice, and one of them is not finished.
TEST(LogSpans, TwiceInAFolder) {
    Made machine("");
    save("/logs/db7-20261121T130512Z.wyrt", logOf(2, 4));
    save("/logs/db7-20261121T130512Z.wyrt.zst", "\x28\xB5\x2F\xFD cut short");
    const auto said = run({"show", "/logs"});
    EXPECT_EQ(timesOf(said), "14:05:12 14:05:14 ");
    EXPECT_TRUE(said.ends_with("status 0\n")) << said;
}

// A clock that was set back in a file that is no recorder's.
TEST(LogSpans, ClocksThatWereSetBack) {
    Made machine("");
    save("/a.wyrt", logOf(0, 20) + logOf(10, 30, "run", 12));
    const auto said = run({"show", "/a.wyrt", "--since", "@1795266327", "--until", "@1795266330"});
    EXPECT_EQ(timesOf(said), "14:05:28 14:05:30 14:05:28 14:05:30 ");
}

TEST(LogSpans, ClocksThatWereSetBackInSeveralLogs) {
    Made machine("");
    // The file that begins first was written last, and has the same times.
    save("/logs/db7-20261121T130510Z.wyrt", logOf(0, 20, "run", 12));
    save("/logs/db7-20261121T130516Z.wyrt", logOf(6, 26, "run", 1));
    EXPECT_NE(run({"info", "/logs"}).find("\nintervals   22\n"), std::string::npos) << run({"info", "/logs"});
    // Two copies of a log.
    save("/a.wyrt", logOf(0, 20) + logOf(11, 31, "run", 12));
    save("/b.wyrt", logOf(0, 20) + logOf(11, 31, "run", 12));
    EXPECT_EQ(timesOf(run({"show", "/a.wyrt", "/b.wyrt"})), timesOf(run({"show", "/a.wyrt"})));
}

// --- What comes later

// The newest log grows, then the recorder begins another one, then Ctrl-C comes.
static std::string growingFolder() {
    const auto first = logOf(2, 4), more = logOf(2, 8), next = logOf(10, 12, "run", 5);
    const auto quoted = [](const std::string& text) {
        std::string all;
        for (const char c : text)
            all += c == '\n' ? std::string("\\n") : c == '"' ? std::string("\\\"") : std::string(1, c);
        return all;
    };
    const std::string a = "text /logs/db7-20261121T130512Z.wyrt \"", b = "text /logs/db7-20261121T140000Z.wyrt \"";
    return a + quoted(first) + "\"\nstep 1\n" + a + quoted(more.substr(0, more.size() - 30)) + "\"\nstep 2\n" + a +
           quoted(more) + "\"\n" + b + quoted(next.substr(0, 100)) + "\"\nstep 3\n" + b + quoted(next) +
           "\"\nstep 4\nsignal INT\n";
}

TEST(LogSpans, Follow) {
    Made machine(growingFolder());
    const auto said = run({"show", "/logs", "--follow"});
    EXPECT_EQ(timesOf(said), "14:05:12 14:05:14 14:05:16 14:05:18 14:05:20 14:05:22 ") << said;
    EXPECT_TRUE(said.ends_with("status 0\n")) << said;
}

TEST(LogSpans, FollowIntoAnExport) {
    const auto files = growingFolder();
    for (const std::string format : {"jsonl", "csv", "influx"}) {
        Made again(files);
        const auto exported = run({"export", "/logs", "--follow", "--format", format, "--kind", "CPU"});
        EXPECT_TRUE(exported.ends_with("status 0\n")) << exported;
        size_t times = 0; // points of the line protocol have no local time
        for (const char* time : {"14:05:12", "14:05:14", "14:05:16", "14:05:18", "14:05:20", "14:05:22"})
            times += exported.find(time) != exported.npos;
        EXPECT_EQ(times, format == "influx" ? 0U : 6U) << exported;
        EXPECT_NE(exported.find(format == "influx" ? "1795266322000000000\n" : "14:05:22"), exported.npos) << exported;
    }
    Made machine(files);
    EXPECT_EQ(run({"export", "/logs", "--follow", "-o", "/x.db"}),
              "wyrt: --follow is for csv, tsv, jsonl and influx: sqlite is written when all is read (see wyrt export "
              "--help)\nstatus 2\n");
}

// What `wyrt export` does in every format: its usage, spans, damage, and logs of other programs.
#include "tests/unit/exportlog.h"

#include <iterator>
#include <map>

TEST(Export, WrongUsage) {
    Made machine("dir /folder\n");
    save("/a.wyrt", logOf(1));
    const struct {
        std::vector<std::string> words;
        const char* said;
    } Cases[] = {
        {{"/a.wyrt"}, "--format is missing; it takes csv, tsv, jsonl, sqlite, openmetrics, influx"},
        {{"/a.wyrt", "--format", "jsn"}, "there is no format 'jsn'; the nearest is csv"},
        {{"/a.wyrt", "--format", "csv", "--fields", "time"}, "--fields needs the one --kind that has them"},
        {{"/a.wyrt", "--format", "csv", "--kind", "a,b", "--fields", "time"}, "--fields needs the one --kind"},
        {{"/a.wyrt", "--format", "csv", "--kind", "dsk"}, "there is no kind 'DSK'; the nearest is DISK"},
        {{"/a.wyrt", "--format", "csv", "--kind", "disk", "--fields", "raeds"},
         "DISK has no field 'raeds'; the nearest is reads"},
        {{"/a.wyrt", "--format", "csv", "--since", "noon"}, "'noon' is no time like"},
        {{"/none", "--format", "csv"}, "'/none' is no log"},
        {{"/a.wyrt", "--format", "sqlite"}, "sqlite needs a file: -o FILE"},
        {{"/a.wyrt", "-o", "/x.db", "--rates"}, "the views of sqlite have the rates"},
        {{"/a.wyrt", "--format", "influx", "--rates"}, "influx has counters, of which the store makes rates"},
        {{"/a.wyrt", "-o", "/a.om", "--kind", "cpu", "--fields", "user"}, "openmetrics has all fields of a kind"},
        {{"/a.wyrt", "--format", "sqlite", "-o", "/folder"}, "sqlite goes to one file, and '/folder' is a folder"},
    };
    for (auto& c : Cases) {
        const auto said = exported(c.words);
        EXPECT_NE(said.find(c.said), std::string::npos) << said;
        EXPECT_TRUE(said.ends_with("(see wyrt export --help)\nstatus 2\n")) << said;
    }
    EXPECT_TRUE(exported({"--help"}).starts_with("wyrt export [LOG...] [OPTION...]\n"));
}

// --- What is left out

TEST(Export, ASpan) {
    Made machine("");
    save("/a.wyrt", logOf(4));
    const auto said = exported({"/a.wyrt", "--format", "csv", "--kind", "cpu", "--fields", "time", "--since",
                                "2026-11-21T14:05:12.000+01:00", "--until", "2026-11-21T14:05:16.000+01:00"});
    EXPECT_EQ(said, "time\n2026-11-21T14:05:14.000+01:00\n2026-11-21T14:05:16.000+01:00\nstatus 0\n");
    const auto none = exported({"/a.wyrt", "--format", "csv", "--until", "2000-01-01"});
    EXPECT_EQ(none, "wyrt: there is no interval to export\nstatus 1\n");
}

TEST(Export, DamagedIntervalsAreLeftOutAsAWhole) {
    Made machine("");
    const std::vector<std::string> words{"/a.wyrt", "--format", "csv", "--kind", "disk", "--fields", "time,reads"};
    const auto with = [&](const std::string& log, bool damaged = false) {
        save("/a.wyrt", log);
        auto all = words;
        if (damaged) all.push_back("--damaged");
        return exported(all);
    };
    const std::string left =
        "wyrt: 1 interval is damaged or cut short and left out (--damaged takes what can be read)\n";
    const std::string first = "\n2026-11-21T14:05:12", second = "\n2026-11-21T14:05:14";
    const size_t each = std::size(Hostile) + 1;
    const auto byte = with(changed(logOf(2), "dplain,8:0", "dplane,8:0"));
    EXPECT_EQ(countOf(byte, first), each) << byte;
    EXPECT_EQ(countOf(byte, second), 0U) << byte;
    EXPECT_NE(byte.find(left), byte.npos) << byte;
    // The sum is right, and a cell is none of its field: nothing of the interval, its first lines included.
    const auto none = with(resealed(changed(logOf(2), ",20,", ",2x0,")));
    EXPECT_EQ(countOf(none, first), each) << none;
    EXPECT_EQ(countOf(none, second), 0U) << none;
    EXPECT_NE(none.find(left), none.npos) << none;
    EXPECT_EQ(countOf(with(resealed(changed(logOf(2), ",20,", ",2x0,")), true), second),
              each - 1); // the one record
    const auto all = with(changed(logOf(2), ",20,", ",2x0,"), true);
    EXPECT_EQ(countOf(all, second), each - 1) << all;
    // A title whose first interval is damaged comes with the next one.
    auto log = logOf(2);
    log.replace(log.find("dplain,8:0"), 6, "dplane");
    EXPECT_TRUE(with(log).starts_with("time,reads\n2026-11-21T14:05:14")) << with(log);
}

// Cells that their field cannot have, in an interval whose checksum is right.
TEST(Export, WhatIsDamagedForShowIsDamagedForAll) {
    Made machine("");
    const struct {
        std::string cell, before;
        bool figure;
    } Cells[] = {
        {",1000000,", ",", true},                      // CPU: an amount
        {",0.25,", ",", true},                         // CPU: a level with a fraction
        {"dplain,8:0,0,,0,", "dplain,8:0,0,,", false}, // DISK: yes or no
        {"dplain,8:0,0,", "dplain,8:0,", false},       // DISK: a whole number
    };
    const auto isTaken = [](const std::string& said) { return said.find("1 interval is damaged") == said.npos; };
    for (auto& [cell, before, figure] : Cells)
        for (const std::string forged :
             {"1", "2", "-1", "1.5", "007", "nan", "1e400", "18446744073709551615", "18446744073709551616"}) {
            save("/a.wyrt", resealed(changed(logOf(1), cell, before + forged + ",")));
            const bool shown = isTaken(run({"show", "/a.wyrt"}));
            for (const char* format : {"csv", "jsonl"})
                EXPECT_EQ(isTaken(exported({"/a.wyrt", "--format", format})), shown) << format << before << forged;
            EXPECT_EQ(isTaken(exported({"/a.wyrt", "--format", "csv", "--rates"})), shown) << before << forged;
            if (!figure) continue;
            EXPECT_EQ(isTaken(exported({"/a.wyrt", "--format", "influx"})), shown) << before << forged;
            EXPECT_EQ(isTaken(run({"stats", "/a.wyrt"})), shown) << before << forged;
        }
}

// A field of one letter.
TEST(Export, LettersAreOneLetter) {
    Made machine("");
    TempFolder folder;
    Interval interval;
    interval.number = 1, interval.time = {Start, 60}, interval.elapsed_us = 2000000;
    auto& process = interval.processes.rows.emplace_back();
    process.pid = 7, process.name = "sh", process.state = 'R';
    interval.processes.sampled = true, interval.processes.elapsed_us = 2000000;
    std::string log;
    LogWriter().head(Head, {}, {Start, 60}, log);
    LogWriter().interval(interval, log);
    const auto isTaken = [](const std::string& said) { return said.find("1 interval is damaged") == said.npos; };
    for (const auto& [cell, good] : std::map<std::string, bool>{{"", true},
                                                                {"Z", true},
                                                                {"\\x2C", true},
                                                                {"\\xFF", true},
                                                                {"RS", false},
                                                                {"\\x41B", false},
                                                                {"\\x4", false}}) {
        save("/a.wyrt", resealed(changed(log, ",R,", "," + cell + ",")));
        EXPECT_EQ(isTaken(run({"show", "/a.wyrt"})), good) << cell;
        for (const char* format : {"csv", "tsv", "jsonl"})
            EXPECT_EQ(isTaken(exported({"/a.wyrt", "--format", format})), good) << format << cell;
        EXPECT_EQ(isTaken(exported({"/a.wyrt", "-o", folder.path() + "/" + std::to_string(cell.size()) + ".db"})), good)
            << cell;
    }
}

// Kinds and fields of a later program go through; older logs lack some.
TEST(Export, OtherPrograms) {
    Made machine("");
    std::string log;
    LogWriter writer;
    writer.head(Head, {}, {Start, 60}, log);
    log = changed(log, "#END,",
                  "#NEW,time,secs,name,much,level\n#NEW:role,time,elapsed:s,id,amount:B,level\n"
                  "#../X,time,secs,name\n#END,");
    log = changed(log, "#CPU,time,secs,user,nice,", "#CPU,time,secs,nice,later,");
    log = resealed(log);
    std::string interval = "NEW,2026-11-21T14:05:12.000+01:00,2.000000,a\\x2Cb,10,0.5\n"
                           "../X,2026-11-21T14:05:12.000+01:00,2.000000,a\n"
                           "CPU,2026-11-21T14:05:12.000+01:00,2.000000,4,6\n";
    log = resealed(log + interval + "END,2026-11-21T14:05:12.000+01:00,2.000000,1,3,0,00000000\n");
    save("/a.wyrt", log);
    EXPECT_EQ(exported({"/a.wyrt", "--format", "jsonl", "--rates"}),
              "{\"record\":\"NEW\",\"host\":\"db7\",\"time\":\"2026-11-21T14:05:12.000+01:00\",\"secs\":2.000000,"
              "\"name\":\"a,b\",\"much_per_s\":5,\"level\":0.5}\n"
              "{\"record\":\"CPU\",\"host\":\"db7\",\"time\":\"2026-11-21T14:05:12.000+01:00\",\"secs\":2.000000,"
              "\"nice_per_s\":2,\"later_per_s\":3}\nstatus 0\n");
    EXPECT_EQ(exported({"/a.wyrt", "--format", "csv", "--kind", "new"}),
              "host,time,secs,name,much,level\ndb7,2026-11-21T14:05:12.000+01:00,2.000000,\"a,b\",10,0.5\nstatus 0\n");
}

TEST(Export, AFullDisk) {
    Made machine("fail write /out ENOSPC\nfail write /folder/CPU.csv ENOSPC\ndir /folder\n");
    save("/a.wyrt", logOf(1));
    EXPECT_EQ(exported({"/a.wyrt", "--format", "csv", "-o", "/out"}),
              "wyrt: '/out': No space left on device\nstatus 1\n");
    EXPECT_EQ(exported({"/a.wyrt", "--format", "csv", "-o", "/folder"}),
              "wyrt: '/folder/CPU.csv': No space left on device\nstatus 1\n");
}

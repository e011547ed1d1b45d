// wyrt export on logs in a made-up machine.
#include "base/infile.h"
#include "record/crc.h"
#include "tests/unit/logcommand.h"
#include "wyrtlog/cells.h"
#include "wyrtlog/classiclog.h"
#include "wyrtlog/metrics.h"
#include "wyrtlog/rate.h"
#include "wyrtlog/sheets.h"

#include <random>

#include <sqlite3.h>

static const LogHead Head{"1.2.0", "db7", "boot", "run"};
static constexpr int64_t Start = 1795266310000; // 2026-11-21 14:05:10 +01:00

static const char* const Hostile[] = {
    "plain",        "a,b",      "say \"hi\"", "back\\slash", "\\x41", "new\nline", "tab\there", "\r\n",
    "\x01\x1f\x7f", "\xff\xfe", "sn\xc3\xb6", "=1+1",        "'--",   "\xc2\x85",  "",          " blanks "};

static Interval intervalAt(int64_t at_ms, uint64_t number) {
    Interval interval;
    interval.number = number;
    interval.time = {at_ms, 60};
    interval.elapsed_us = 2000000;
    auto& cpu = interval.cpu.rows.emplace_back();
    cpu.user_us = 1000000, cpu.idle_us = 3000000, cpu.load1 = 0.25;
    interval.cpu.sampled = true, interval.cpu.elapsed_us = 2000000;
    for (const char* name : Hostile) {
        auto& disk = interval.disks.rows.emplace_back();
        disk.name = std::string("d") + name, disk.device = "8:0", disk.holds = name, disk.reads = number * 10;
    }
    interval.disks.rest.emplace().reads = 7;
    interval.disks.sampled = true, interval.disks.elapsed_us = 4000000;
    return interval;
}

static std::string logOf(uint64_t intervals, const LogHead& head = Head) {
    std::string log;
    LogWriter writer;
    ViewRow view;
    view.areas = "cpu disk";
    writer.head(head, view, {Start, 60}, log);
    for (uint64_t n = 1; n <= intervals; n++)
        writer.interval(intervalAt(Start + static_cast<int64_t>(n) * 2000, n), log);
    return log;
}

static std::string exported(std::vector<std::string> words) {
    words.insert(words.begin(), "export");
    return run(std::move(words));
}

// The same without a process of its own, so that the files stay.
static int runHere(std::vector<std::string> words) {
    words.insert(words.begin(), {"wyrtlog", "export"});
    std::vector<char*> argv;
    for (auto& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    return wyrtlogMain(static_cast<int>(words.size()), argv.data());
}

static std::string textOf(const std::string& path) {
    InFile file;
    if (!file.open(path)) return "none";
    std::string text(size_t{1} << 20, '\0');
    text.resize(file.read(text.data(), text.size()));
    return text;
}

static size_t countOf(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != text.npos; at = text.find(part, at + part.size())) count++;
    return count;
}

// The sizes and the checksum of a log's last interval or head made right again, after a change.
static std::string resealed(const std::string& log) {
    const auto end = log.rfind("\nEND,") + 1;
    const auto before = log.rfind("\nEND,", end - 2);
    const auto begin = before == log.npos ? 0 : log.find('\n', before + 1) + 1;
    std::vector<std::string> parts{""};
    for (const char c : log.substr(end, log.find('\n', end) - end))
        if (c == ',') parts.emplace_back();
        else parts.back() += c;
    parts.at(5) = std::to_string(end - begin);
    std::string sealed = log.substr(0, end);
    for (size_t i = 0; i < 6; i++) sealed += parts[i] + ",";
    char sum[16];
    snprintf(sum, sizeof sum, "%08x\n", crc32c(std::string_view(sealed).substr(begin)));
    return sealed + sum;
}

static std::string changed(std::string text, const std::string& from, const std::string& to) {
    const auto at = text.rfind(from);
    if (at == text.npos) std::abort();
    return text.replace(at, from.size(), to);
}

// --- Cells

TEST(Cells, SplitAtCommas) {
    std::mt19937 random(7);
    for (int round = 0; round < 2000; round++) {
        std::string line;
        for (size_t size = random() % 70; line.size() < size;) line += ",,a\xac-+\x80\x2d"[random() % 8];
        std::vector<std::string> expected(1);
        for (const char c : line)
            if (c == ',') expected.emplace_back();
            else expected.back() += c;
        Cells cells;
        cells.split(line);
        ASSERT_EQ(cells.size(), expected.size()) << line;
        for (size_t i = 0; i < expected.size(); i++) ASSERT_EQ(cells[i], expected[i]) << line;
        EXPECT_EQ(cells[expected.size()], "");
        EXPECT_EQ(cells[NoCell], "");
    }
}

TEST(Cells, Numbers) {
    const struct {
        const char* cell;
        bool plain;
        const char* made; // of what is not plain; null: it is no number
    } Cases[] = {{"0", true, "0"},
                 {"12", true, "12"},
                 {"-7", true, "-7"},
                 {"1.5", true, "1.5"},
                 {"2.5e-07", true, "2.5e-07"},
                 {"1e+20", true, "1e+20"},
                 {"18446744073709551615", true, "18446744073709551615"},
                 {"007", false, "7"},
                 {"1.", false, "1"},
                 {".5", false, "0.5"},
                 {"-", false, nullptr},
                 {"", false, nullptr},
                 {"nan", false, nullptr},
                 {"inf", false, nullptr},
                 {"1e999", true, nullptr},
                 {"0x1", false, nullptr},
                 {"1 ", false, nullptr},
                 {"+1", false, nullptr},
                 {"1e", false, nullptr},
                 {"-0", true, "0"},
                 {"1.5.5", false, nullptr}};
    for (auto& c : Cases) {
        EXPECT_EQ(isPlainNumber(c.cell), c.plain) << c.cell;
        std::string made;
        EXPECT_EQ(appendNumber(c.cell, made), c.made != nullptr) << c.cell;
        EXPECT_EQ(made, c.made ? c.made : "") << c.cell;
    }
}

TEST(Cells, Texts) {
    const auto text = [](std::string_view cell) {
        std::string out;
        return appendText(cell, out) ? out : "damaged";
    };
    EXPECT_EQ(text("a b"), "a b");
    EXPECT_EQ(text("a\\x2Cb\\x22"), "a,b\"");
    EXPECT_EQ(text("\\xFF\\x00"), "\\xFF\\x00"); // not UTF-8; NUL
    EXPECT_EQ(text("\\xC2\\x85"), "\xc2\x85");
    EXPECT_EQ(text("\xff"), "\\xFF");
    EXPECT_EQ(text("\\x4"), "damaged");
    EXPECT_EQ(text("\\"), "damaged");
    EXPECT_FALSE(isPlainText("a\x7f") || isPlainText("\\") || isPlainText("\"") || isPlainText("\xc3\xb6"));
}

// The keys of every record would be there twice.
TEST(Sheets, NoKindHasAFieldLikeTheColumnsOfAll) {
    static const Interval none;
    eachKind(none, [](const auto& kind, const auto&) {
        for (auto& member : kind.members)
            for (const char* name : {"record", "host", "time", "secs", "interval"})
                EXPECT_NE(member.name, name) << kind.tag;
    });
}

// --- Usage

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

// --- Text

TEST(Export, Csv) {
    Made machine("");
    save("/a.wyrt", logOf(2));
    const auto said =
        exported({"/a.wyrt", "--format", "csv", "--kind", "disk", "--fields", "host,time,secs,name,reads,holds"});
    EXPECT_TRUE(
        said.starts_with("host,time,secs,name,reads,holds\n"
                         "db7,2026-11-21T14:05:12.000+01:00,4.000000,dplain,10,plain\n"
                         "db7,2026-11-21T14:05:12.000+01:00,4.000000,\"da,b\",10,\"a,b\"\n"
                         "db7,2026-11-21T14:05:12.000+01:00,4.000000,\"dsay \"\"hi\"\"\",10,\"say \"\"hi\"\"\"\n"
                         "db7,2026-11-21T14:05:12.000+01:00,4.000000,dback\\slash,10,back\\slash\n"))
        << said;
    EXPECT_EQ(countOf(said, "\ndb7,2026-11-21T14:05:14.000+01:00,4.000000,,7,\n"), 1U) << said; // the rest
    EXPECT_TRUE(said.ends_with("status 0\n")) << said;
    const auto rates =
        exported({"/a.wyrt", "--format", "csv", "--kind", "disk", "--fields", "name,reads,in_flight", "--rates"});
    EXPECT_TRUE(rates.starts_with("name,reads_per_s,in_flight\ndplain,2.5,0\n")) << rates;
    const auto tabs = exported({"/a.wyrt", "--format", "tsv", "--kind", "disk", "--fields", "name,reads"});
    EXPECT_TRUE(tabs.starts_with("name\treads\ndplain\t10\nda,b\t10\ndsay \"hi\"\t10\ndback\\\\slash\t10\n")) << tabs;
    EXPECT_NE(tabs.find("\ndtab\\there\t10\n"), tabs.npos) << tabs;
    EXPECT_NE(tabs.find("\nd\\r\\n\t10\n"), tabs.npos) << tabs;
}

// Several kinds in one file: the first column tells which.
TEST(Export, CsvOfSeveralKinds) {
    Made machine("");
    save("/a.wyrt", logOf(2));
    const auto said = exported({"/a.wyrt", "--format", "csv", "--kind", "cpu,disk"});
    EXPECT_TRUE(said.starts_with("record,host,time,secs,user,nice,system,idle,")) << said;
    EXPECT_EQ(countOf(said, "record,host,"), 2U) << said;
    EXPECT_EQ(countOf(said, "\nCPU,db7,2026-11-21T14:05:1"), 2U) << said;
    EXPECT_EQ(countOf(said, "\nDISK,db7,2026-11-21T14:05:1"), 2 * (std::size(Hostile) + 1)) << said;
}

TEST(Export, CsvInAFolder) {
    Made machine("dir /folder\n");
    save("/a.wyrt", logOf(2));
    EXPECT_EQ(runHere({"/a.wyrt", "--format", "csv", "-o", "/folder"}), 0);
    EXPECT_EQ(runHere({"/a.wyrt", "--format", "jsonl", "-o", "/folder/"}), 0);
    EXPECT_EQ(textOf("/folder/MEM.csv"), "none"); // nothing to write
    EXPECT_TRUE(textOf("/folder/CPU.csv").starts_with("host,time,secs,user,"));
    EXPECT_EQ(countOf(textOf("/folder/CPU.csv"), "\n"), 3U);
    EXPECT_EQ(countOf(textOf("/folder/DISK.csv"), "\ndb7,2026"), 2 * (std::size(Hostile) + 1));
    EXPECT_EQ(countOf(textOf("/folder/DISK.jsonl"), "{\"record\":\"DISK\""), 2 * (std::size(Hostile) + 1));
    EXPECT_EQ(runHere({"/a.wyrt", "--format", "csv", "-o", "/folder/new/"}), 0); // is made
    EXPECT_EQ(textOf("/folder/new/CPU.csv"), textOf("/folder/CPU.csv"));
}

TEST(Export, AFolderThatCannotBeMade) {
    Made machine("fail make /folder EACCES\n");
    save("/a.wyrt", logOf(1));
    EXPECT_EQ(exported({"/a.wyrt", "--format", "csv", "-o", "/folder/"}),
              "wyrt: '/folder/' cannot be made: Permission denied\nstatus 1\n");
}

TEST(Export, JsonLines) {
    Made machine("");
    save("/a.wyrt", logOf(1));
    const auto said = exported({"/a.wyrt", "--format", "jsonl"});
    EXPECT_TRUE(said.starts_with("{\"record\":\"CPU\",\"host\":\"db7\",\"time\":\"2026-11-21T14:05:12.000+01:00\","
                                 "\"secs\":2.000000,\"user\":1000000,\"idle\":3000000,\"load1\":0.25}\n"))
        << said;
    for (const char* part :
         {"\"name\":\"da,b\"", "\"name\":\"dsay \\\"hi\\\"\"", "\"name\":\"dback\\\\slash\"", "\"name\":\"d\\\\x41\"",
          "\"name\":\"dnew\\u000aline\"", "\"name\":\"d\\u0001\\u001f\x7f\"", "\"name\":\"d\\\\xFF\\\\xFE\"",
          "\"name\":\"dsn\xc3\xb6\""})
        EXPECT_NE(said.find(part), said.npos) << part << said;
    const auto rates = exported({"/a.wyrt", "--format", "jsonl", "--kind", "cpu", "--rates"});
    EXPECT_NE(rates.find("\"user_per_s\":500000,\"idle_per_s\":1500000,\"load1\":0.25}\n"), rates.npos) << rates;
}

// Files and pipes get the bytes as they are.
TEST(Export, ATerminalGetsNoControls) {
    Made machine("");
    save("/a.wyrt", logOf(1));
    const std::vector<std::string> words{"/a.wyrt", "--format", "tsv", "--kind", "disk", "--fields", "name,reads"};
    EXPECT_NE(exported(words).find("\nd\x01\x1f\x7f\t10\n"), std::string::npos) << exported(words);
    machine.world.terminal = true;
    EXPECT_NE(exported(words).find("\nd???\t10\n"), std::string::npos) << exported(words);
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

// --- SQLite, whose files are real ones

// All rows of a question, cells with | between them and rows with a newline.
static std::string asked(const std::string& path, const std::string& sql) {
    sqlite3* database = nullptr;
    if (sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) return "no database";
    std::string rows;
    const auto add = [](void* to, int count, char** cells, char**) {
        for (int i = 0; i < count; i++)
            *static_cast<std::string*>(to) += std::string(i ? "|" : "") + (cells[i] ? cells[i] : "NULL");
        *static_cast<std::string*>(to) += "\n";
        return 0;
    };
    char* error = nullptr;
    if (sqlite3_exec(database, sql.c_str(), add, &rows, &error) != SQLITE_OK) rows = error;
    sqlite3_free(error);
    sqlite3_close(database);
    return rows;
}

TEST(ExportSqlite, ATableForEachKind) {
    Made machine("");
    TempFolder folder;
    const auto db = folder.path() + "/a.db";
    save("/a.wyrt", logOf(2));
    EXPECT_EQ(exported({"/a.wyrt", "-o", db}), "status 0\n");
    EXPECT_EQ(asked(db, "SELECT interval, time, secs, user, idle, load1, nice FROM cpu"),
              "1|1795266312000|2.0|1000000|3000000|0.25|NULL\n2|1795266314000|2.0|1000000|3000000|0.25|NULL\n");
    EXPECT_EQ(asked(db, "SELECT typeof(user), typeof(load1), typeof(nice) FROM cpu LIMIT 1"), "integer|real|null\n");
    EXPECT_EQ(asked(db, "SELECT host, boot, run, version FROM runs"), "db7|boot|run|1.2.0\n");
    EXPECT_EQ(asked(db, "SELECT id, run, number, time, \"offset\", secs FROM intervals"),
              "1|1|1|1795266312000|60|2.0\n2|1|2|1795266314000|60|2.0\n");
    EXPECT_EQ(asked(db, "SELECT host, utc, user_per_s, load1 FROM cpu_rates LIMIT 1"),
              "db7|2026-11-21T13:05:12.000Z|500000.0|0.25\n");
    EXPECT_EQ(asked(db, "SELECT role, unit FROM fields WHERE kind = 'disk' AND name = 'read_bytes'"), "amount|B\n");
    EXPECT_EQ(asked(db, "SELECT sum(reads), count(*), count(name) FROM disk"),
              std::to_string(30 * std::size(Hostile) + 14) + "|" + std::to_string(2 * std::size(Hostile) + 2) + "|" +
                  std::to_string(2 * std::size(Hostile)) + "\n");
    EXPECT_NE(asked(db, "EXPLAIN QUERY PLAN SELECT * FROM disk WHERE time > 5").find("disk_time"), std::string::npos);
    EXPECT_EQ(asked(db, "SELECT count(*) FROM mem"), "0\n"); // a kind without records
    EXPECT_EQ(asked(db, "PRAGMA integrity_check"), "ok\n");
    for (const char* name : {"a,b", "say \"hi\"", "back\\slash", "new\nline", "sn\xc3\xb6", "\\xFF\\xFE"})
        EXPECT_NE(asked(db, "SELECT holds FROM disk").find(std::string(name) + "\n"), std::string::npos) << name;
}

TEST(ExportSqlite, AppendingIsIdempotent) {
    Made machine("");
    TempFolder folder;
    const auto db = folder.path() + "/a.db";
    const auto counts = [&] {
        return asked(
            db, "SELECT (SELECT count(*) FROM intervals), (SELECT count(*) FROM cpu), (SELECT count(*) FROM runs)");
    };
    save("/a.wyrt", logOf(2));
    save("/b.wyrt", logOf(5));
    save("/c.wyrt", logOf(2, {"1.2.0", "db7", "boot", "other"}));
    for (const char* log : {"/a.wyrt", "/a.wyrt", "/b.wyrt", "/a.wyrt"})
        EXPECT_EQ(exported({log, "-o", db}), "status 0\n");
    EXPECT_EQ(counts(), "5|5|1\n");
    EXPECT_EQ(exported({"/c.wyrt", "-o", db}), "status 0\n");
    EXPECT_EQ(counts(), "7|7|2\n");
    EXPECT_EQ(exported({"/c.wyrt", "-o", db, "--kind", "cpu"}),
              "wyrt: '" + db + "' was made with another --kind or --fields; use another file\nstatus 1\n");
    EXPECT_EQ(counts(), "7|7|2\n");
}

TEST(ExportSqlite, DamagedIntervalsLeaveNothing) {
    Made machine("");
    TempFolder folder;
    const auto db = folder.path() + "/a.db";
    save("/a.wyrt", resealed(changed(logOf(3), ",30,", ",3x0,")));
    const auto said = exported({"/a.wyrt", "-o", db});
    EXPECT_NE(said.find("1 interval is damaged"), said.npos) << said;
    EXPECT_EQ(asked(db, "SELECT count(*) FROM intervals"), "2\n");
    EXPECT_EQ(asked(db, "SELECT count(*), max(reads) FROM disk"), std::to_string(2 * std::size(Hostile) + 2) + "|20\n");
    save("/a.wyrt", logOf(3)); // whole at last
    EXPECT_EQ(exported({"/a.wyrt", "-o", db}), "status 0\n");
    EXPECT_EQ(asked(db, "SELECT count(*), max(reads) FROM disk"), std::to_string(3 * std::size(Hostile) + 3) + "|30\n");
}

TEST(ExportSqlite, ALaterProgramsFieldsBecomeColumns) {
    Made machine("");
    TempFolder folder;
    const auto db = folder.path() + "/a.db";
    save("/a.wyrt", logOf(1));
    EXPECT_EQ(exported({"/a.wyrt", "-o", db}), "status 0\n");
    std::string log;
    LogWriter writer;
    writer.head({"9", "db7", "boot", "later"}, {}, {Start, 60}, log);
    log = changed(log, "#END,", "#FIELDS,time,secs,name,much\n#FIELDS:role,time,elapsed:s,id,amount:B\n#END,");
    log = resealed(changed(log, "#CPU,time,secs,user,nice,", "#CPU,time,secs,user,later,"));
    save("/b.wyrt", resealed(log + "FIELDS,2026-11-21T14:05:12.000+01:00,2.000000,x,18446744073709551615\n"
                                   "CPU,2026-11-21T14:05:12.000+01:00,2.000000,4,6\n"
                                   "END,2026-11-21T14:05:12.000+01:00,2.000000,1,2,0,00000000\n"));
    EXPECT_EQ(exported({"/b.wyrt", "-o", db}), "status 0\n");
    EXPECT_EQ(asked(db, "SELECT user, later FROM cpu"), "1000000|NULL\n4|6.0\n");
    EXPECT_EQ(asked(db, "SELECT later_per_s FROM cpu_rates WHERE later_per_s > 0"), "3.0\n");
    EXPECT_EQ(asked(db, "SELECT name, much FROM kind_fields"), "x|1.84467440737096e+19\n");
}

TEST(ExportSqlite, WhatCannotBeWritten) {
    Made machine("");
    TempFolder folder;
    save("/a.wyrt", logOf(1));
    folder.with("text", "this is some other file, and no database of anything at all, as everybody can see here\n");
    EXPECT_EQ(exported({"/a.wyrt", "--format", "sqlite", "-o", folder.path() + "/text"}),
              "wyrt: '" + folder.path() + "/text': file is not a database\nstatus 1\n");
    const auto other = folder.path() + "/other.db";
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(other.c_str(), &database), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(database, "CREATE TABLE t(x)", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
    EXPECT_EQ(exported({"/a.wyrt", "-o", other}), "wyrt: '" + other + "' is a database of another program\nstatus 1\n");
    EXPECT_EQ(exported({"/a.wyrt", "-o", folder.path() + "/none/a.db"}),
              "wyrt: '" + folder.path() + "/none/a.db': unable to open database file\nstatus 1\n");
    // Nothing is left of a run that found nothing.
    EXPECT_EQ(exported({"/a.wyrt", "-o", folder.path() + "/empty.db", "--until", "2000-01-01"}),
              "wyrt: there is no interval to export\nstatus 1\n");
    EXPECT_FALSE(std::filesystem::exists(folder.path() + "/empty.db"));
    EXPECT_FALSE(std::filesystem::exists(folder.path() + "/empty.db.part"));
}

// --- Time series

// All metrics of the program's own kinds.
static std::vector<Metric> allMetrics() {
    LogWriter writer;
    std::string log;
    writer.head(Head, {}, {Start, 60}, log);
    LogReader reader([&](char* to, size_t size) {
        const auto part = log.substr(0, size);
        memcpy(to, part.data(), part.size());
        log.erase(0, part.size());
        return part.size();
    });
    Interval none;
    EXPECT_EQ(reader.next(none), LogReader::Found::Head);
    Sheets sheets;
    EXPECT_EQ(sheets.takeHead(reader), "");
    std::vector<Metric> metrics;
    for (auto& kind : metricKinds()) {
        const auto* sheet = sheets.find(kind.tag);
        if (!sheet) {
            ADD_FAILURE() << kind.tag;
            continue;
        }
        const auto has = [&](std::string_view name) {
            return name.empty() || std::any_of(sheet->columns.begin(), sheet->columns.end(),
                                               [&](auto& column) { return column.name == name; });
        };
        for (auto& [field, label] : kind.labels) EXPECT_TRUE(has(field)) << kind.tag << field;
        for (auto& field : kind.details) EXPECT_TRUE(has(field)) << kind.tag << field;
        for (auto& column : sheet->columns)
            if (auto metric = metricOf(kind, column)) metrics.push_back(*metric);
    }
    return metrics;
}

TEST(Metrics, NamesAreValidAndNoTwoAreEqual) {
    std::vector<std::string> names;
    for (auto& kind : metricKinds()) names.push_back("wyrt_" + std::string(kind.prefix)); // of info metrics
    for (auto& metric : allMetrics()) {
        names.push_back(metric.name);
        EXPECT_EQ(metric.name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_"), std::string::npos)
            << metric.name;
        EXPECT_TRUE(metric.unit.empty() || metric.name.ends_with("_" + metric.unit)) << metric.name;
        for (const char* end : {"_total", "_info", "_created", "_bucket"})
            EXPECT_FALSE(metric.name.ends_with(end)) << metric.name;
        EXPECT_EQ(metric.name.find("_us_"), std::string::npos) << metric.name;
    }
    EXPECT_GT(names.size(), 250U);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end())
        << *std::adjacent_find(names.begin(), names.end());
}

TEST(Metrics, Values) {
    const auto counter = [](uint64_t value, bool micro) {
        std::string text;
        appendCounter(value, micro, text);
        return text;
    };
    EXPECT_EQ(counter(1500000, true), "1.5");
    EXPECT_EQ(counter(1000000, true), "1");
    EXPECT_EQ(counter(7, true), "0.000007");
    EXPECT_EQ(counter(UINT64_MAX, true), "18446744073709.551615");
    EXPECT_EQ(counter(UINT64_MAX, false), "18446744073709551615");
    const auto level = [](double value) {
        std::string text;
        appendLevel(value, text);
        return text;
    };
    EXPECT_EQ(level(25276510208), "25276510208");
    EXPECT_EQ(level(-0.25), "-0.25");
    EXPECT_EQ(level(1e300), "1e+300");
    EXPECT_EQ(cutLabel(std::string(199, 'a') + "\xc3\xb6"), std::string(199, 'a'));
}

// A log of disks: for each interval the reads of each disk.
static std::string diskLog(const std::vector<std::vector<std::pair<std::string, uint64_t>>>& intervals,
                           int64_t each_ms = 10000, int64_t start_ms = Start) {
    std::string log;
    LogWriter writer;
    writer.head(Head, {}, {start_ms, 60}, log);
    uint64_t number = 0;
    for (auto& disks : intervals) {
        Interval interval;
        interval.number = ++number;
        interval.time = {start_ms + static_cast<int64_t>(number) * each_ms, 60};
        interval.elapsed_us = each_ms * 1000;
        for (auto& [name, reads] : disks) {
            auto& disk = interval.disks.rows.emplace_back();
            if (name == "dm-0") disk.volume = "vg/root";
            disk.name = name, disk.device = name + ":0", disk.reads = reads, disk.busy_us = 1500000, disk.in_flight = 2;
            if (name.empty()) interval.disks.rest = disk, interval.disks.rows.pop_back();
        }
        interval.disks.sampled = true, interval.disks.elapsed_us = each_ms * 1000;
        writer.interval(interval, log);
    }
    return log;
}

TEST(ExportSeries, CountersGrowOverTheSpan) {
    Made machine("");
    save("/a.wyrt", diskLog({{{"sda", 5}, {"dm-0", 1}}, {{"sda", 7}}, {}, {{"sda", 1}, {"sdb", 3}, {"", 9}}}));
    const auto metrics = exported({"/a.wyrt", "--format", "openmetrics"});
    EXPECT_EQ(linesWith(metrics, "wyrt_disk_reads"),
              "# TYPE wyrt_disk_reads counter\n"
              "# HELP wyrt_disk_reads of the records DISK\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"dm-0\",volume=\"vg/root\"} 0 1795266310.000\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"dm-0\",volume=\"vg/root\"} 1 1795266320.000\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"others\"} 0 1795266340.000\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"others\"} 9 1795266350.000\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 0 1795266310.000\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 5 1795266320.000\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 12 1795266330.000\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 12 1795266340.000\n" // it stood still
              "wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 13 1795266350.000\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"sdb\"} 0 1795266340.000\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"sdb\"} 3 1795266350.000\n");
    EXPECT_NE(metrics.find("# TYPE wyrt_disk_busy_seconds counter\n# UNIT wyrt_disk_busy_seconds seconds\n"),
              metrics.npos);
    EXPECT_NE(metrics.find("wyrt_disk_busy_seconds_total{host=\"db7\",disk=\"sda\"} 4.5 1795266350.000\n"),
              metrics.npos);
    EXPECT_EQ(linesWith(metrics, "wyrt_disk_info"),
              "wyrt_disk_info{host=\"db7\",disk=\"dm-0\",volume=\"vg/root\",dev=\"dm-0:0\"} 1 1795266320.000\n"
              "wyrt_disk_info{host=\"db7\",disk=\"sda\",dev=\"sda:0\"} 1 1795266320.000\n"
              "wyrt_disk_info{host=\"db7\",disk=\"sdb\",dev=\"sdb:0\"} 1 1795266350.000\n");
    EXPECT_TRUE(metrics.ends_with("\n# EOF\nstatus 0\n"));
    const auto lines = exported({"/a.wyrt", "--format", "influx"});
    EXPECT_EQ(linesWith(lines, "disk=sdb "),
              "wyrt_disk,host=db7,disk=sdb reads_total=0i,busy_seconds_total=0 1795266340000000000\n"
              "wyrt_disk,host=db7,disk=sdb stacked=0,reads_total=3i,busy_seconds_total=1.5,in_flight=2 "
              "1795266350000000000\n");
}

// Long logs go through the temporary file; what stands still is repeated each minute.
TEST(ExportSeries, LongOnes) {
    Made machine("");
    std::vector<std::vector<std::pair<std::string, uint64_t>>> intervals(100, {{"sda", 2}});
    intervals[0].emplace_back("sdb", 1);
    save("/a.wyrt", diskLog(intervals));
    const auto metrics = exported({"/a.wyrt", "--format", "openmetrics"});
    const auto sda = linesWith(metrics, "wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"}");
    EXPECT_EQ(countOf(sda, "\n"), 101U);
    for (size_t i = 0; i <= 100; i++)
        EXPECT_NE(sda.find("} " + std::to_string(2 * i) + " " + std::to_string(1795266310 + 10 * i) + ".000\n"),
                  sda.npos)
            << i;
    const auto sdb = linesWith(metrics, "wyrt_disk_reads_total{host=\"db7\",disk=\"sdb\"}");
    EXPECT_EQ(countOf(sdb, "} 1 "), 17U) << sdb; // 20 s, then each minute
}

// As a damaged clock, or a forged log, has them.
TEST(ExportSeries, TimesBefore1970) {
    Made machine("");
    save("/a.wyrt", diskLog({{{"sda", 5}}, {{"sda", 1}}}, 1000, -1500));
    const auto metrics = linesWith(exported({"/a.wyrt", "--format", "openmetrics"}), "wyrt_disk_reads_total{");
    EXPECT_EQ(metrics, "wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 0 -1.500\n"
                       "wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 5 -0.500\n"
                       "wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 6 0.500\n");
    EXPECT_NE(exported({"/a.wyrt", "--format", "influx"}).find(" -500000000\n"), std::string::npos);
}

TEST(ExportSeries, LabelsAreQuotedAndBounded) {
    Made machine("");
    std::vector<std::pair<std::string, uint64_t>> disks;
    for (const char* name : Hostile)
        if (*name) disks.emplace_back(name, 1);
    disks.emplace_back(std::string(500, 'x'), 1);
    save("/a.wyrt", diskLog({disks}));
    const auto metrics = linesWith(exported({"/a.wyrt", "--format", "openmetrics"}), "wyrt_disk_reads_total{");
    for (const char* label :
         {"a,b", "say \\\"hi\\\"", "back\\\\slash", "new\\nline", "tab\\\\x09here", "\\\\xFF\\\\xFE", "sn\xc3\xb6"})
        EXPECT_NE(metrics.find("disk=\"" + std::string(label) + "\"} 1 "), metrics.npos) << label << metrics;
    EXPECT_NE(metrics.find("disk=\"" + std::string(LongestLabel, 'x') + "\"}"), metrics.npos);
    const auto lines = linesWith(exported({"/a.wyrt", "--format", "influx"}), "in_flight");
    for (const char* tag : {"a\\,b", "say\\ \"hi\"", "back\\x5Cslash", "new\\x0Aline", "\\=1+1", "sn\xc3\xb6"})
        EXPECT_NE(lines.find(",disk=" + std::string(tag) + " "), lines.npos) << tag << lines;
    // A host without a name.
    save("/a.wyrt", logOf(1, {"1.2.0", "", "boot", "run"}));
    const auto nameless = exported({"/a.wyrt", "--format", "influx", "--kind", "cpu"});
    EXPECT_TRUE(nameless.starts_with("wyrt_cpu user_seconds_total=")) << nameless;
    // More things than there are series.
    disks.clear();
    for (int i = 0; i < 1200; i++) disks.emplace_back("d" + std::to_string(i), 1);
    save("/a.wyrt", diskLog({disks, disks}));
    const auto many = exported({"/a.wyrt", "--format", "influx"});
    EXPECT_NE(many.find("wyrt: 400 records are left out: there are too many things"), many.npos);
}

TEST(ExportSeries, ProcessesAreAddedUpByCommand) {
    Made machine("");
    std::string log;
    LogWriter writer;
    writer.head(Head, {}, {Start, 60}, log);
    Interval interval;
    interval.number = 1, interval.time = {Start + 2000, 60}, interval.elapsed_us = 2000000;
    interval.processes.sampled = true, interval.processes.elapsed_us = 2000000;
    for (uint64_t i = 0; i < 600; i++) {
        auto& row = interval.processes.rows.emplace_back();
        row.pid = 100 + i, row.name = "c" + std::to_string(i / 2), row.cpu_us = 1000000;
    }
    interval.processes.rest.emplace().cpu_us = 5000000;
    writer.interval(interval, log);
    save("/a.wyrt", log);
    const auto said = linesWith(exported({"/a.wyrt", "--format", "influx"}), "1795266312000000000");
    EXPECT_NE(said.find("wyrt_process,host=db7,command=c0 cpu_seconds_total=2 "), said.npos) << said;
    EXPECT_EQ(countOf(said, "wyrt_process,"), 201U) << said;
    EXPECT_NE(said.find("wyrt_process,host=db7,command=others cpu_seconds_total=205 "), said.npos) << said;
}

TEST(ExportSeries, ADamagedIntervalAddsNothing) {
    Made machine("");
    save("/a.wyrt", resealed(changed(diskLog({{{"sda", 5}}, {{"sda", 77}}}), ",77,", ",7x7,")));
    const auto said = exported({"/a.wyrt", "--format", "influx"});
    EXPECT_EQ(countOf(said, "reads_total=5i"), 1U) << said;
    EXPECT_EQ(countOf(said, "1795266330"), 0U) << said;
    EXPECT_NE(said.find("1 interval is damaged"), said.npos) << said;
}

// --- Classic logs

static const char* const Classic = "^info,Hostname,old1$\n"
                                   "^info,Memory(MB),2048$\n"
                                   "some message\n"
                                   "^TIME,1795266312,1,2026/11/21 14:05:12,007$\n"
                                   "^fsusage,files$\n" // a header that is none

                                   "^END_OF_INTERVAL$\n"
                                   "^TIME,1795266322,2,2026/11/21 14:05:22,507$\n"
                                   "^TCP,1,2,3,4,5,6,7,8,9,10,11,12$\n"
                                   "^TCP,1,2$\n"
                                   "^END_OF_INTERVAL$\n";

TEST(ExportClassic, ItsOwnKinds) {
    Made machine("");
    save("/z.log", Classic);
    const auto said = exported({"/z.log", "--format", "jsonl"});
    EXPECT_NE(said.find("{\"record\":\"INFO_MEMORY_MB\",\"host\":\"old1\",\"time\":\"2026-11-21T13:05:12.007+00:00\","
                        "\"secs\":0.000000,\"memory\":2048}\n"),
              said.npos)
        << said;
    EXPECT_NE(said.find("\"secs\":0.000000,\"seconds\":1795266312,\"classic_interval\":1,"
                        "\"classic_time\":\"2026/11/21 14:05:12\",\"milliseconds\":7}\n"),
              said.npos)
        << said;
    EXPECT_NE(said.find("\"secs\":10.500000,\"established\":1,\"listen\":2,"), said.npos) << said;
    EXPECT_NE(said.find("wyrt: 2 records are damaged and left out\n"), said.npos) << said;
    EXPECT_TRUE(said.ends_with("status 0\n")) << said;
    EXPECT_EQ(exported({"/z.log", "--format", "csv", "--kind", "tcp", "--fields", "time,listen", "--since",
                        "2026-11-21T14:05:13.000+01:00"}),
              "time,listen\n2026-11-21T13:05:22.507+00:00,2\n"
              "wyrt: 2 records are damaged and left out\nstatus 0\n");
    TempFolder folder;
    const auto db = folder.path() + "/z.db";
    for (int i = 0; i < 2; i++) EXPECT_TRUE(exported({"/z.log", "-o", db}).ends_with("status 0\n"));
    EXPECT_EQ(asked(db, "SELECT time, secs, listen, na FROM tcp"), "1795266322507|10.5|2|12\n");
    EXPECT_EQ(asked(db, "SELECT count(*) FROM intervals"), "2\n");
    EXPECT_EQ(asked(db, "SELECT host FROM runs"), "old1\n");
}

TEST(ExportClassic, Refused) {
    Made machine("");
    save("/z.log", Classic);
    save("/a.wyrt", logOf(1));
    EXPECT_NE(
        exported({"/z.log", "/a.wyrt", "--format", "csv"}).find("classic logs and others cannot be exported together"),
        std::string::npos);
    EXPECT_NE(exported({"/z.log", "--format", "influx"}).find("influx has amounts, which classic logs do not have"),
              std::string::npos);
    EXPECT_NE(exported({"/z.log", "--format", "csv", "--rates"}).find("classic logs have rates already"),
              std::string::npos);
    EXPECT_NE(
        exported({"/z.log", "--format", "csv", "--kind", "tcq"}).find("there is no kind 'TCQ'; the nearest is TCP"),
        std::string::npos);
}

TEST(ExportClassic, EveryKindAndFieldHasANameOfItsOwn) {
    std::vector<std::string> tags;
    for (auto& sheet : classicSheets()) {
        tags.push_back(sheet.tag);
        EXPECT_EQ(sheet.tag.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_"), std::string::npos) << sheet.tag;
        std::vector<std::string> names;
        for (auto& column : sheet.all) {
            names.push_back(column.name);
            EXPECT_EQ(column.name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_"), std::string::npos)
                << column.name;
        }
        std::sort(names.begin(), names.end());
        EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end()) << sheet.tag;
    }
    std::sort(tags.begin(), tags.end());
    EXPECT_EQ(std::adjacent_find(tags.begin(), tags.end()), tags.end());
}

// However the log comes in.
TEST(ExportClassic, PieceByPiece) {
    const auto linesOf = [](size_t most) {
        std::string_view rest = Classic;
        std::string all;
        ClassicLog log;
        log.read(
            [&](char* to, size_t size) {
                const auto part = rest.substr(0, std::min(size, most));
                memcpy(to, part.data(), part.size());
                rest.remove_prefix(part.size());
                return part.size();
            },
            [&](Moment, int64_t, uint64_t, std::string_view lines) { return all += lines, true; });
        return all;
    };
    for (const size_t most : {size_t{1}, size_t{7}, size_t{40}}) EXPECT_EQ(linesOf(most), linesOf(100000));
}

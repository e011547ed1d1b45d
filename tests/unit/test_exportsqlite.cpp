// wyrt export as SQLite, whose files are real ones.
#include "tests/unit/exportlog.h"
#include "tests/unit/sqlrows.h"

#include <filesystem>
#include <iterator>

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

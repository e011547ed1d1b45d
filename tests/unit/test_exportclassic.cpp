// wyrt export of classic logs.
#include "tests/unit/exportlog.h"
#include "tests/unit/sqlrows.h"
#include "wyrtlog/classiclog.h"

#include <algorithm>
#include <cstring>

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

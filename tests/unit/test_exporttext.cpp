// wyrt export as csv, tsv and jsonl: to the output, into a file or a folder.
#include "base/infile.h"
#include "tests/unit/exportlog.h"

#include <iterator>

static std::string textOf(const std::string& path) {
    InFile file;
    if (!file.open(path)) return "none";
    std::string text(size_t{1} << 20, '\0');
    text.resize(file.read(text.data(), text.size()));
    return text;
}

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
    EXPECT_EQ(runHere({"export", "/a.wyrt", "--format", "csv", "-o", "/folder"}), 0);
    EXPECT_EQ(runHere({"export", "/a.wyrt", "--format", "jsonl", "-o", "/folder/"}), 0);
    EXPECT_EQ(textOf("/folder/MEM.csv"), "none"); // nothing to write
    EXPECT_TRUE(textOf("/folder/CPU.csv").starts_with("host,time,secs,user,"));
    EXPECT_EQ(countOf(textOf("/folder/CPU.csv"), "\n"), 3U);
    EXPECT_EQ(countOf(textOf("/folder/DISK.csv"), "\ndb7,2026"), 2 * (std::size(Hostile) + 1));
    EXPECT_EQ(countOf(textOf("/folder/DISK.jsonl"), "{\"record\":\"DISK\""), 2 * (std::size(Hostile) + 1));
    EXPECT_EQ(runHere({"export", "/a.wyrt", "--format", "csv", "-o", "/folder/new/"}), 0); // is made
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

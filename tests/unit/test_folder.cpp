// A recorder's folder of logs: its files and their bounds.
#include "wyrt/folder.h"

#include "base/outfile.h"
#include "tests/unit/recorder.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <string>

static const std::string Head = "#wyrt,2,1.2.0,db7,boot,run\n#CPU,time,secs,user\n#CPU:role,time,elapsed:s,amount:us\n"
                                "END,2026-11-21T14:05:08.000+01:00,0.000000,0,0,84,9f3a01c4\n";

static std::string namesIn(const std::string& folder) {
    std::string names;
    auto entries = World::current->find(folder)->entries;
    std::sort(entries.begin(), entries.end());
    for (const auto& name : entries) names += name + " ";
    return names;
}

static Piece first(int64_t time_ms, const std::string& text = Head) { return Piece(text, time_ms, true); }
static Piece more(int64_t time_ms, const std::string& text) { return Piece(text, time_ms, false); }

static std::string lines(size_t bytes) {
    std::string text;
    for (unsigned i = 1; text.size() < bytes; i++)
        text += "CPU,2026-11-21T14:05:12.000+01:00," + std::to_string(i) + "\n";
    return text;
}

// --- Files

TEST(Folder, APieceWithAHeadBeginsAFile) {
    const Made machine("disk /var 100000000\n");
    LogFolder folder("/var/logs", "db7", {});
    ASSERT_TRUE(folder.open());
    EXPECT_EQ(folder.write(first(Noon)), Wrote::All);
    EXPECT_EQ(folder.write(more(Noon + 10000, "second\n")), Wrote::All);
    EXPECT_EQ(textOf("/var/logs/current.wyrt"), "db7-20261121T120000Z.wyrt");
    EXPECT_EQ(folder.write(first(Noon + Hour, "third\n")), Wrote::All);
    EXPECT_EQ(folder.write(first(Noon + Hour + 900, "fourth\n")), Wrote::All); // in the same second
    EXPECT_TRUE(folder.sync());
    folder.end();
    EXPECT_EQ(namesIn("/var/logs"), "current.wyrt db7-20261121T120000Z.wyrt db7-20261121T130000Z.wyrt "
                                    "db7-20261121T130000Z_2.wyrt ");
    EXPECT_EQ(textOf("/var/logs/current.wyrt"), "db7-20261121T130000Z_2.wyrt");
    EXPECT_EQ(textOf("/var/logs/db7-20261121T120000Z.wyrt"), Head + "second\n");
    EXPECT_EQ(textOf("/var/logs/db7-20261121T130000Z.wyrt"), "third\n");
    EXPECT_EQ(textOf("/var/logs/db7-20261121T130000Z_2.wyrt"), "fourth\n");
}

TEST(Folder, ACompressedFileHasItsNameStill) {
    const Made machine("disk /logs 100000000\ntext /logs/db7-20261121T120000Z.wyrt.zst \"x\"\n"
                       "text /logs/db7-20261121T120000Z_2.wyrt.gz \"x\"\n");
    LogFolder folder("/logs", "db7", {});
    ASSERT_TRUE(folder.open());
    EXPECT_EQ(folder.write(first(Noon)), Wrote::All);
    EXPECT_EQ(textOf("/logs/current.wyrt"), "db7-20261121T120000Z_3.wyrt");
}

TEST(Folder, HasOneRecorder) {
    const Made machine("disk /logs 100000000\nfail lock /logs EWOULDBLOCK\n");
    LogFolder folder("/logs", "db7", {});
    EXPECT_FALSE(folder.open());
    EXPECT_EQ(errno, EWOULDBLOCK);
    const Made other("text /file \"\"\nfail make /none/logs EACCES\n");
    LogFolder none("/none/logs", "db7", {});
    EXPECT_FALSE(none.open());
    EXPECT_EQ(errno, EACCES);
}

// What a killed recorder left: a torn interval, a file without an interval, one that was being compressed.
TEST(Folder, LeftoversAreFinished) {
    const Made machine("disk /logs 100000000\nlink /logs/current.wyrt db7-20261121T110000Z.wyrt\n"
                       "text /logs/db7-20261121T113000Z.wyrt \"#wyrt,2,1.\"\n"
                       "text /logs/db7-20261121T100000Z.wyrt \"\"\ntext /logs/db7-20261121T090000Z.wyrt-new \"x\"\n"
                       "text /logs/default.log \"y\"\ntext /logs/day.wyrt \"z\"\ntext /logs/x.wyrt-new \"z\"\n");
    OutFile torn;
    ASSERT_TRUE(torn.open("/logs/db7-20261121T110000Z.wyrt", OutFile::How::New) && torn.write(Head + "CPU,2026-11-"));
    LogFolder folder("/logs", "db7", {});
    ASSERT_TRUE(folder.open());
    EXPECT_EQ(namesIn("/logs"),
              "current.wyrt day.wyrt db7-20261121T110000Z.wyrt db7-20261121T113000Z.wyrt.torn default.log x.wyrt-new ");
    EXPECT_EQ(textOf("/logs/db7-20261121T110000Z.wyrt"), Head);
}

// --- Compressing

TEST(Folder, ClosedFilesAreCompressedOneByOne) {
    Made machine("disk /logs 100000000\n" + Tools);
    machine.world.child = runWyrtlog;
    LogFolder folder("/logs", "db7", {});
    ASSERT_TRUE(folder.open());
    for (int i = 0; i < 3; i++) EXPECT_EQ(folder.write(first(Noon + i * Hour, Head + lines(20000))), Wrote::All);
    EXPECT_EQ(folder.write(more(Noon + 2 * Hour + 1, "x\n")), Wrote::All);
    EXPECT_EQ(folder.write(more(Noon + 2 * Hour + 2, "x\n")), Wrote::All);
    folder.end();
    EXPECT_EQ(namesIn("/logs"), "current.wyrt db7-20261121T120000Z.wyrt.zst db7-20261121T130000Z.wyrt.zst "
                                "db7-20261121T140000Z.wyrt ");
    EXPECT_NE(machine.log().find("child wyrtlog pack /logs/db7-20261121T120000Z.wyrt\n"), std::string::npos);
}

TEST(Folder, WithoutTheOtherProgramFilesStayPlain) {
    const Made machine("disk /logs 100000000\n");
    LogFolder folder("/logs", "db7", {});
    ASSERT_TRUE(folder.open());
    for (int i = 0; i < 6; i++) EXPECT_EQ(folder.write(first(Noon + i * Hour)), Wrote::All);
    EXPECT_EQ(namesIn("/logs").find(".zst"), std::string::npos);
    EXPECT_EQ(machine.log().find("child"), std::string::npos);
}

// It is not tried again and again.
TEST(Folder, WhatCannotBeCompressedStaysPlain) {
    Made machine("disk /logs 100000000\n" + Tools);
    int tries = 0;
    machine.world.child = [&](const std::vector<std::string>&) { return ++tries, 1; };
    LogFolder folder("/logs", "db7", {});
    ASSERT_TRUE(folder.open());
    EXPECT_EQ(folder.write(first(Noon)), Wrote::All);
    EXPECT_EQ(folder.write(first(Noon + Hour)), Wrote::All);
    for (int i = 0; i < 10; i++) EXPECT_EQ(folder.write(more(Noon + Hour + i, "x\n")), Wrote::All);
    EXPECT_EQ(tries, 1);
    EXPECT_EQ(namesIn("/logs"), "current.wyrt db7-20261121T120000Z.wyrt db7-20261121T130000Z.wyrt ");
}

// --- Room

TEST(Folder, TheOldestGoFirst) {
    const Made machine(
        "disk /logs 100000000\ntext /logs/default.log \"x\"\ntext /logs/a-20200101T000000Z.wyrt.zst \"x\"\n");
    LogFolder folder("/logs", "db7", {100 << 10, 0, {}});
    ASSERT_TRUE(folder.open());
    for (int i = 0; i < 12; i++) EXPECT_EQ(folder.write(first(Noon + i * Hour, lines(20000))), Wrote::All);
    EXPECT_EQ(namesIn("/logs"),
              "current.wyrt db7-20261121T190000Z.wyrt db7-20261121T200000Z.wyrt db7-20261121T210000Z.wyrt "
              "db7-20261121T220000Z.wyrt db7-20261121T230000Z.wyrt default.log ");
}

TEST(Folder, SoMuchStaysFree) {
    const Made machine("disk /logs 200000\n");
    LogFolder folder("/logs", "db7", {{}, 100000, {}});
    ASSERT_TRUE(folder.open());
    for (int i = 0; i < 12; i++) EXPECT_EQ(folder.write(first(Noon + i * Hour, lines(20000))), Wrote::All);
    EXPECT_EQ(namesIn("/logs"), "current.wyrt db7-20261121T200000Z.wyrt db7-20261121T210000Z.wyrt "
                                "db7-20261121T220000Z.wyrt db7-20261121T230000Z.wyrt ");
}

TEST(Folder, OldFilesGo) {
    const Made machine("disk /logs 100000000\nclock 1795262400.000\n");
    LogFolder folder("/logs", "db7", {{}, {}, 5 * Hour});
    ASSERT_TRUE(folder.open());
    for (int i = 0; i < 12; i++) {
        EXPECT_EQ(folder.write(first(Noon + i * Hour)), Wrote::All);
        World::current->advance(Hour * 1000);
    }
    EXPECT_EQ(namesIn("/logs"), "current.wyrt db7-20261121T170000Z.wyrt db7-20261121T180000Z.wyrt "
                                "db7-20261121T190000Z.wyrt db7-20261121T200000Z.wyrt db7-20261121T210000Z.wyrt "
                                "db7-20261121T220000Z.wyrt db7-20261121T230000Z.wyrt ");
}

// A full disk: the open file has whole intervals only, and what found no room is written when there is some.
TEST(Folder, AFullDisk) {
    Made machine("disk /logs 65536\ntext /logs/other \"\"\n");
    machine.world.append("/logs/other", std::string(40000, 'x')); // 10 of 16 blocks
    LogFolder folder("/logs", "db7", {{}, 0, {}});
    ASSERT_TRUE(folder.open());
    const auto piece = lines(10000);
    EXPECT_EQ(folder.write(first(Noon, piece)), Wrote::All);
    EXPECT_EQ(folder.write(more(Noon + 1, piece)), Wrote::All);
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(folder.write(more(Noon + 2, piece)), Wrote::Later);
        EXPECT_EQ(folder.error(), ENOSPC);
        EXPECT_EQ(textOf("/logs/db7-20261121T120000Z.wyrt"), piece + piece);
    }
    machine.world.truncate("/logs/other", 0);
    EXPECT_EQ(folder.write(more(Noon + 2, piece)), Wrote::All);
    EXPECT_EQ(folder.error(), 0);
    EXPECT_EQ(textOf("/logs/db7-20261121T120000Z.wyrt"), piece + piece + piece);
    EXPECT_EQ(folder.write(first(Noon + Hour, lines(60000))), Wrote::All); // the old file goes
    EXPECT_EQ(namesIn("/logs"), "current.wyrt db7-20261121T130000Z.wyrt other ");
}

// A write that fails although there should be room, as beyond a quota.
TEST(Folder, AFailedWriteLeavesNothing) {
    const Made machine("disk /logs 100000000\nstep 1\nfail write /logs/db7-20261121T120000Z.wyrt EDQUOT\nstep 2\n"
                       "heal write /logs/db7-20261121T120000Z.wyrt\nfail open /logs/db7-20261121T130000Z.wyrt EROFS\n"
                       "step 3\nheal open /logs/db7-20261121T130000Z.wyrt\n");
    LogFolder folder("/logs", "db7", {});
    ASSERT_TRUE(folder.open());
    EXPECT_EQ(folder.write(first(Noon)), Wrote::All);
    World::current->pause(1);
    EXPECT_EQ(folder.write(more(Noon + 1, "x\n")), Wrote::Later);
    EXPECT_EQ(folder.error(), EDQUOT);
    World::current->pause(1);
    EXPECT_EQ(folder.write(more(Noon + 1, "x\n")), Wrote::All);
    EXPECT_EQ(textOf("/logs/db7-20261121T120000Z.wyrt"), Head + "x\n");
    EXPECT_EQ(folder.write(first(Noon + Hour)), Wrote::Later); // no new file can be made
    EXPECT_EQ(folder.error(), EROFS);
    World::current->pause(1);
    EXPECT_EQ(folder.write(first(Noon + Hour)), Wrote::All);
    EXPECT_EQ(textOf("/logs/db7-20261121T130000Z.wyrt"), Head);
}

// Somebody removes the open file, or the whole folder.
TEST(Folder, WhatIsRemovedIsMadeAgain) {
    Made machine("disk /var 100000000\nstep 1\ngone /var/logs\nstep 2\n");
    LogFolder folder("/var/logs", "db7", {});
    ASSERT_TRUE(folder.open());
    EXPECT_FALSE(folder.isGone());
    EXPECT_EQ(folder.write(first(Noon)), Wrote::All);
    EXPECT_FALSE(folder.isGone());
    machine.world.remove("/var/logs/db7-20261121T120000Z.wyrt");
    EXPECT_TRUE(folder.isGone());
    EXPECT_EQ(folder.write(first(Noon + 10000)), Wrote::All);
    EXPECT_FALSE(folder.isGone());
    EXPECT_EQ(namesIn("/var/logs"), "current.wyrt db7-20261121T120010Z.wyrt ");
    machine.step();
    EXPECT_TRUE(folder.isGone());
    EXPECT_EQ(folder.write(first(Noon + 20000)), Wrote::All);
    EXPECT_EQ(namesIn("/var/logs"), "current.wyrt db7-20261121T120020Z.wyrt ");
}

// Years of files must not take memory.
TEST(Packer, KnowsOnlyFilesThatAreThere) {
    Packer packer;
    packer.refuse("a.wyrt"), packer.refuse("b.wyrt");
    packer.knowOnly({{"b.wyrt"}});
    EXPECT_TRUE(packer.takes("a.wyrt"));
    EXPECT_FALSE(packer.takes("b.wyrt"));
}

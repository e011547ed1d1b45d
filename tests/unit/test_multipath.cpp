#include "classic/collect/volumes.h"

#include "tests/unit/nomemory.h"

#include <gtest/gtest.h>

#include <string>

static std::string repeated(char c, size_t count) { return std::string(count, c); }

namespace {
class Multipath : public testing::Test {
protected:
    void SetUp() override {
        pathlist.clear();
        pvlist.clear();
    }
    static void addVolume(std::string_view lastname) { pvlist.emplace_back().lastname = lastname; }
};
} // namespace

static constexpr std::string_view Report = "mpatha (36005076801810001) dm-0 QEMU,QEMU HARDDISK\n"
                                           "size=300M features='1 queue_if_no_path' hwhandler='0' wp=rw\n"
                                           "|-+- policy='service-time 0' prio=1 status=active\n"
                                           "| `- 0:0:0:0 sda 8:0  active ready running\n"
                                           "`-+- policy='service-time 0' prio=1 status=enabled\n"
                                           "  `- 1:0:0:0 sdf 8:80 active ready running\n";

TEST_F(Multipath, DeviceAsTheToolPrintsIt) {
    getMultipaths(Report);
    ASSERT_EQ(pathlist.size(), 1U);
    auto& p = pathlist[0];
    EXPECT_EQ(p.alias.view(), "mpatha");
    EXPECT_EQ(p.wwid.view(), "36005076801810001");
    EXPECT_EQ(p.name.view(), "dm-0");
    EXPECT_EQ(p.desc.view(), "QEMU,QEMUHARDDISK");
    EXPECT_EQ(p.size.view(), "300M");
    EXPECT_EQ(p.pv, NoLink);
    ASSERT_EQ(p.disk.size(), 2U);
    EXPECT_EQ(p.disk[0].name.view(), "sda");
    EXPECT_EQ(p.disk[0].property.view(), "active ready running");
    EXPECT_EQ(p.disk[0].pathindex, 0);
    EXPECT_EQ(p.disk[0].pathstate.view(), "policy='service-time 0' prio=1 status=active");
    EXPECT_EQ(p.disk[1].name.view(), "sdf");
    EXPECT_EQ(p.disk[1].pathindex, 1);
    EXPECT_EQ(p.disk[1].pathstate.view(), "policy='service-time 0' prio=1 status=enabled");
}

TEST_F(Multipath, HeadersOfAllKinds) {
    static const struct {
        std::string line, alias, wwid, name, desc;
    } Cases[] = {
        {"(3600507680181) dm-12 IBM,2145", "-", "3600507680181", "dm-12", "IBM,2145"},
        {"[3600507680181] dm-12 IBM,2145", "-", "3600507680181", "dm-12", "IBM,2145"},
        {"  (360050768018) dm-1 IBM", "-", "360050768018", "dm-1", "IBM"}, // from the first non-blank on
        {"35000c500aa000002 dm-1 QEMU,QEMU HARDDISK", "35000c500aa000002", "", "dm-1", "QEMU,QEMUHARDDISK"},
        {"a (b) [c] xxxx dm-1", "a", "b", "dm-1", ""},
        {"create: mpathx (360a) dm-3 NET,LUN C", "create:", "360a", "dm-3", "NET,LUNC"},
        {"mpath (unclosed dm-3", "mpath", "unclosed dm-3", "dm-3", ""},
        {"mpathabcdefg dm-3 a dm-4", "mpathabcdefg", "", "dm-3", "adm-4"}, // the first one counts
        {"]mpathabcdef dm-3", "", "", "dm-3", ""},
        {"mpathabcdefg dm-)x y", "mpathabcdefg", "", "dm-", "xy"},
        {"mpathabcdefg dm- x", "mpathabcdefg", "", "dm-", "x"},
        {"mpatha (1234567) dm-" + repeated('1', 40) + " D", "mpatha", "1234567", "dm-" + repeated('1', 28), "D"},
        {repeated('a', 70) + " (" + repeated('w', 300) + ") dm-1 " + repeated('d', 300), repeated('a', 63),
         repeated('w', 255), "dm-1", repeated('d', 254)},
    };
    for (auto& c : Cases) {
        pathlist.clear();
        getMultipaths(c.line + "\n");
        ASSERT_EQ(pathlist.size(), 1U) << c.line;
        EXPECT_EQ(pathlist[0].alias.view(), c.alias) << c.line;
        EXPECT_EQ(pathlist[0].wwid.view(), c.wwid) << c.line;
        EXPECT_EQ(pathlist[0].name.view(), c.name) << c.line;
        EXPECT_EQ(pathlist[0].desc.view(), c.desc) << c.line;
    }
}

TEST_F(Multipath, WhatIsNoHeader) {
    getMultipaths("mpath (3600) dm-0\n"); // " dm-" at the 13th character
    EXPECT_EQ(pathlist.size(), 1U);
    pathlist.clear();
    getMultipaths("mpat (3600) dm-0 IBM\n"); // at the 12th
    EXPECT_EQ(pathlist.size(), 0U);
    getMultipaths("aaaaaaaaaa dm-1\n"); // 16 with the newline, at the 11th
    EXPECT_EQ(pathlist.size(), 0U);
    getMultipaths("aaaaaaaaaaaaadm-12\n"); // no blank
    EXPECT_EQ(pathlist.size(), 0U);
}

TEST_F(Multipath, LinesOf15CharactersAreSkipped) {
    constexpr std::string_view Header = "mpatha (36005076801810001) dm-0 QEMU\n";
    getMultipaths(std::string(Header) + "size=1234567890"); // 15
    EXPECT_EQ(pathlist[0].size.view(), "");
    getMultipaths("size=12345678901"); // 16
    EXPECT_EQ(pathlist[0].size.view(), "12345678901");
    getMultipaths("  size=1 abcdef\r\n"); // cut down to 16: the CR stays
    EXPECT_EQ(pathlist[0].size.view(), "1");
    getMultipaths("size=abcdefghij\n"); // 16 with its newline, which belongs to the word
    EXPECT_EQ(pathlist[0].size.view(), "abcdefghij\n");
}

TEST_F(Multipath, SizeKeepsWhatTheNewOneDoesNotReach) {
    getMultipaths("mpatha (36005076801810001) dm-0 QEMU\n"
                  "size=300M features='1'\n"
                  "            size=5\n"); // ends with the line, so nothing terminates it
    EXPECT_EQ(pathlist[0].size.view(), "500M");
    getMultipaths("           size= features\n");
    EXPECT_EQ(pathlist[0].size.view(), "");
    getMultipaths("mpathb (36005076801810002) dm-1 QEMU\n            size=7\n"); // a new device starts empty
    EXPECT_EQ(pathlist[1].size.view(), "7");
    getMultipaths("size=" + repeated('9', 40) + " x\n");
    EXPECT_EQ(pathlist[1].size.view(), repeated('9', 31));
    getMultipaths(
        "mpathc (36005076801810003) dm-2 QEMU\nsize=300M features='1'\n"
        "mpathd (36005076801810004) dm-3 QEMU\n            size=8\n"); // also after another device of the report
    EXPECT_EQ(pathlist[3].size.view(), "8");
}

// The name is the second word of the text that begins three characters after the first ':'. Leading blanks count as a
// first word.
TEST_F(Multipath, MembersWithOddAddresses) {
    getMultipaths("mpatha (36005076801810001) dm-0 QEMU\n"
                  "             :x y sda 8:0 active\n"
                  "             :xy sdb sdc 8:0 active\n");
    ASSERT_EQ(pathlist.size(), 1U);
    ASSERT_EQ(pathlist[0].disk.size(), 2U);
    EXPECT_EQ(pathlist[0].disk[0].name.view(), "sda");
    EXPECT_EQ(pathlist[0].disk[1].name.view(), "sdb");
}

TEST_F(Multipath, NothingBeforeTheFirstDevice) {
    getMultipaths("size=300M features='1 queue'\n"
                  "`-+- policy='service-time 0'\n"
                  "  `- 0:0:0:0 sda 8:0  active ready running\n");
    EXPECT_TRUE(pathlist.empty());
}

TEST_F(Multipath, MemberBeforeAnyGroup) {
    getMultipaths("mpatha (36005076801810001) dm-0 QEMU\n \\_ 0:0:0:0 sda 8:0  active\n");
    ASSERT_EQ(pathlist[0].disk.size(), 1U);
    EXPECT_EQ(pathlist[0].disk[0].pathindex, -1);
    EXPECT_EQ(pathlist[0].disk[0].pathstate.view(), "-");
}

TEST_F(Multipath, GroupsStartAnewWithADevice) {
    getMultipaths(std::string(Report) + "mpathb (36005076801820001) dm-1 QEMU,QEMU HARDDISK\n"
                                        "  `- 1:0:1:0 sdg 8:96 active ready running\n"
                                        "`-+-----------------\n" // a group without a text
                                        "  `- 1:0:1:0 sdh 8:96 active ready running\n");
    ASSERT_EQ(pathlist.size(), 2U);
    ASSERT_EQ(pathlist[1].disk.size(), 2U);
    EXPECT_EQ(pathlist[1].disk[0].pathindex, -1);
    EXPECT_EQ(pathlist[1].disk[0].pathstate.view(), "-");
    EXPECT_EQ(pathlist[1].disk[1].pathindex, 0);
    EXPECT_EQ(pathlist[1].disk[1].pathstate.view(), "");
}

TEST_F(Multipath, MemberLines) {
    static const struct {
        std::string line, name, property;
    } Cases[] = {
        {"| `- 0:0:0:0 sda 8:0  active ready running", "sda", "active ready running"},
        {"| `- 10:0:0:0 sdaa 65:160 active undef unknown", "sdaa", "active undef unknown"},
        {"  |- 1:0:0:0 sdb 8:16", "sdb", ""},
        {"  |- 1:0:0:0     sdb", "sdb", ""},
        {"  |- 1:0:0:0 sdb 8:16 [active][ready]", "sdb", "[active][ready]"},
        {"  |- 1:0:0:0 [sdb] 8:16 x y", "[sdb", "x y"},
        // The name is the second word of the text that begins three characters after the first ':'.
        {"  |- here :b c sdb 8:16 x y", "sdb", "x y"},
        {"  |- here :bc sdb 8:16 x y", "sdb", "x y"},
        {"  |- 1:0:0:0 " + repeated('n', 40) + " 8:16 " + repeated('p', 70), repeated('n', 31), repeated('p', 63)},
    };
    for (auto& c : Cases) {
        pathlist.clear();
        getMultipaths("mpatha (36005076801810001) dm-0 QEMU\n" + c.line + "\n");
        ASSERT_EQ(pathlist[0].disk.size(), 1U) << c.line;
        EXPECT_EQ(pathlist[0].disk[0].name.view(), c.name) << c.line;
        EXPECT_EQ(pathlist[0].disk[0].property.view(), c.property) << c.line;
    }
}

TEST_F(Multipath, MembersWithoutAName) {
    for (auto line : {"  `- 0:0:0:0------", "                  :", "               0:00", "              1:0 a"}) {
        pathlist.clear();
        getMultipaths(std::string("mpatha (36005076801810001) dm-0 QEMU\n") + line);
        EXPECT_TRUE(pathlist[0].disk.empty()) << line;
    }
}

TEST_F(Multipath, GroupTextIsCutAt64) {
    getMultipaths("mpatha (36005076801810001) dm-0 QEMU\n`-+- " + repeated('p', 70) +
                  "\n  `- 1:0:1:0 sdg 8:96 active\n");
    EXPECT_EQ(pathlist[0].disk[0].pathstate.view(), repeated('p', 64));
}

TEST_F(Multipath, PhysicalVolumeByNameOrAlias) {
    addVolume("sda");
    addVolume("mpatha");
    addVolume("dm-0");
    addVolume("dm-0");
    addVolume("dm-1");
    addVolume("mpathb");
    getMultipaths("mpatha (36005076801810001) dm-0 QEMU\n"
                  "mpathb (36005076801810001) dm-1 QEMU\n"
                  "mpathc (36005076801810001) dm-2 QEMU\n"
                  "other- (36005076801810001) dm-0 QEMU\n");
    EXPECT_EQ(pathlist[0].pv, 1); // the first in the list that has either name
    EXPECT_EQ(pathlist[1].pv, 4);
    EXPECT_EQ(pathlist[2].pv, NoLink);
    EXPECT_EQ(pathlist[3].pv, 2);
}

TEST_F(Multipath, LongLinesComeInPieces) {
    // The first piece ends within the description, the second one is a path group.
    getMultipaths("mpatha (36005076801810001) dm-0 " + repeated('d', 1100) + "\n  `- 1:0:1:0 sdg 8:96 active\n");
    EXPECT_EQ(pathlist[0].desc.view(), repeated('d', 254));
    EXPECT_EQ(pathlist[0].disk[0].pathindex, 0);
    EXPECT_EQ(pathlist[0].disk[0].pathstate.view(), ""); // of a single word
}

TEST_F(Multipath, APieceHas1023Characters) {
    // The first piece is a path group, unless the colon is its last character; the member is in the second one.
    for (size_t size : {1022U, 1023U}) {
        pathlist.clear();
        getMultipaths("mpatha (36005076801810001) dm-0 A,B\n" + repeated('x', size) + ":0:0:0 sda 8:0 active\n");
        ASSERT_EQ(pathlist[0].disk.size(), 1U);
        EXPECT_EQ(pathlist[0].disk[0].pathindex, size == 1022 ? -1 : 0) << size;
    }
}

TEST_F(Multipath, WithoutMemoryTheListIsEmpty) {
    NEEDS_ITS_HEAP();
    pathlist = std::vector<TMultipath>();
    pathlist.reserve(1);
    EXPECT_TRUE(withoutMemory(512, [] {
        getMultipaths("mpatha (36) dm-0 A,B\nmpathb (37) dm-1 A,B\nmpathc (38) dm-2 A,B\n");
        return pathlist.empty();
    }));
}

TEST_F(Multipath, WithoutMemoryAMemberIsMissing) {
    NEEDS_ITS_HEAP();
    pathlist.reserve(1);
    EXPECT_TRUE(withoutMemory(512, [] {
        getMultipaths(Report);
        return pathlist.size() == 1 && pathlist[0].size.view() == "300M" && pathlist[0].disk.empty();
    }));
}

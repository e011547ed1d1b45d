#include "classic/collect/volumes.h"

#include "tests/unit/nomemory.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

static std::string repeated(char c, size_t count) { return std::string(count, c); }

namespace {
class Lvm : public testing::Test {
protected:
    void SetUp() override {
        vglist.clear();
        lvlist.clear();
        pvlist.clear();
    }
};
} // namespace

// --- Groups

TEST_F(Lvm, GroupAsTheToolPrintsIt) {
    getVolumeGroups("  --- Volume group ---\n"
                    "  VG Name               vg-a\n"
                    "  System ID             \n"
                    "  Format                lvm2\n"
                    "  VG Access             read/write\n"
                    "  VG Status             resizable\n"
                    "  MAX LV                7\n"
                    "  Cur LV                4\n"
                    "  Open LV               3\n"
                    "  MAX PV                6\n"
                    "  Cur PV                5\n"
                    "  Act PV                2\n"
                    "  VG Size               <2.04 GiB\n"
                    "  PE Size               4.00 MiB\n"
                    "  Total PE              522\n"
                    "  Alloc PE / Size       185 / 740.00 MiB\n"
                    "  Free  PE / Size       337 / <1.32 GiB  \n"
                    "  VG UUID               WfEnpA-Utsn-dNiQ\n"
                    "   \n");
    ASSERT_EQ(vglist.size(), 1U);
    auto& v = vglist[0];
    EXPECT_EQ(v.name.view(), "vg-a");
    EXPECT_EQ(v.format.view(), "lvm2");
    EXPECT_EQ(v.access.view(), "read/write");
    EXPECT_EQ(v.status.view(), "resizable");
    EXPECT_EQ(v.maxlv, 7);
    EXPECT_EQ(v.curlv, 4);
    EXPECT_EQ(v.openlv, 3);
    EXPECT_EQ(v.maxpv, 6);
    EXPECT_EQ(v.curpv, 5);
    EXPECT_EQ(v.actpv, 2);
    EXPECT_EQ(v.vgsize.view(), "<2.04 GiB");
    EXPECT_EQ(v.pesize.view(), "4.00 MiB");
    EXPECT_EQ(v.totalpe, 522);
    EXPECT_EQ(v.allocpe, 185);
    EXPECT_EQ(v.allocsize.view(), "740.00 MiB");
    EXPECT_EQ(v.freepe, 337);
    EXPECT_EQ(v.freesize.view(), "<1.32 GiB"); // trailing blanks go
    EXPECT_EQ(v.uuid.view(), "WfEnpA-Utsn-dNiQ");
}

TEST_F(Lvm, GroupKeysBeforeTheNameAreNobodys) {
    getVolumeGroups("  Format                lvm2\n");
    EXPECT_TRUE(vglist.empty());
    getVolumeGroups("  VG Name               a\n  VG Name               b\n  Cur LV                1\n");
    ASSERT_EQ(vglist.size(), 2U);
    EXPECT_EQ(vglist[0].name.view(), "a");
    EXPECT_EQ(vglist[0].curlv, 0);
    EXPECT_EQ(vglist[1].curlv, 1);
}

TEST_F(Lvm, LineLimits) {
    // A line needs 8 characters, and 11 from its first non-blank on to have a value.
    getVolumeGroups("VG Name\n"); // 8 with the newline, which is not cut off; fewer than 11
    EXPECT_TRUE(vglist.empty());
    getVolumeGroups("VG Name  x\n"); // 10
    EXPECT_TRUE(vglist.empty());
    getVolumeGroups("VG Name   x\n"); // 11
    ASSERT_EQ(vglist.size(), 1U);
    EXPECT_EQ(vglist[0].name.view(), "x");
    getVolumeGroups("       VG Name  x\n"); // leading blanks do not help
    EXPECT_EQ(vglist.size(), 1U);
    getVolumeGroups("          \t        \n   \n\n"); // blanks only
    EXPECT_EQ(vglist.size(), 1U);
}

TEST_F(Lvm, LineEndsAreCut) {
    getVolumeGroups("VG Name               vg\r\nFormat                lvm2\r\r\nVG Name               nonl");
    ASSERT_EQ(vglist.size(), 2U);
    EXPECT_EQ(vglist[0].name.view(), "vg");
    EXPECT_EQ(vglist[0].format.view(), "lvm2");
    EXPECT_EQ(vglist[1].name.view(), "nonl"); // a last line without its newline
}

TEST_F(Lvm, LongLinesComeInPieces) {
    // A piece has 1023 characters. After 1012 blanks the first piece ends with "VG Status  ", a line that ends in
    // blanks. The second piece, "resizable", has no key.
    getVolumeGroups("VG Name               a\n" + repeated(' ', 1012) + "VG Status  resizable\n");
    EXPECT_EQ(vglist[0].status.view(), " ");
    getVolumeGroups(repeated(' ', 1011) + "VG Status  resizable\n");
    EXPECT_EQ(vglist[0].status.view(), "r");
    getVolumeGroups(repeated(' ', 1003) + "VG Status  resizable\n"); // the newline alone is the second piece
    EXPECT_EQ(vglist[0].status.view(), "resizable");
    getVolumeGroups(repeated(' ', 1017) + "VG Status  resizing\n"); // cut within the key
    EXPECT_EQ(vglist[0].status.view(), "resizable");
}

TEST_F(Lvm, FieldsAreCut) {
    getVolumeGroups("VG Name   " + repeated('n', 64) + "\nFormat    " + repeated('f', 16) + "\nVG Size   " +
                    repeated('s', 63) + "\nAlloc PE / Size       1 / " + repeated('z', 60) + "   " + repeated('z', 60) +
                    "\n");
    ASSERT_EQ(vglist.size(), 1U);
    EXPECT_EQ(vglist[0].name.view(), repeated('n', 63));
    EXPECT_EQ(vglist[0].format.view(), repeated('f', 15));
    EXPECT_EQ(vglist[0].vgsize.view(), repeated('s', 63));
    EXPECT_EQ(vglist[0].allocsize.view(), repeated('z', 60)); // first cut, then trimmed
}

TEST_F(Lvm, ValuesThatAreMissing) {
    getVolumeGroups("VG Name               vg\n"
                    "VG Size    \n"
                    "Alloc PE / Size  x\n"
                    "Free  PE / Size  3 /\n");
    ASSERT_EQ(vglist.size(), 1U);
    EXPECT_EQ(vglist[0].vgsize.view(), "");
    EXPECT_EQ(vglist[0].allocpe, 0);
    EXPECT_EQ(vglist[0].allocsize.view(), "");
    EXPECT_EQ(vglist[0].freepe, 3);
    EXPECT_EQ(vglist[0].freesize.view(), ""); // beyond the end of the line
}

// When a line has two keys, the first one in the list of keys decides, wherever it is in the line. The other key has no
// effect. `values` returns the record that a line makes, as text.
static void expectOrder(const std::vector<std::string>& keys, std::string (*values)(const std::string& line)) {
    for (size_t first = 0; first < keys.size(); first++)
        for (size_t second = first + 1; second < keys.size(); second++) {
            const auto rest = "  " + keys[first] + "   7 / 77";
            const auto alone = values(std::string(keys[second].size(), '.') + rest);
            EXPECT_EQ(values(keys[second] + rest), alone) << keys[second] << " before " << keys[first];
            EXPECT_NE(values(keys[second] + "  .........  7 / 77"), alone) << keys[second];
        }
}

static std::string groupValues(const std::string& line) {
    vglist.clear();
    getVolumeGroups("VG Name               vg\n" + line + "\n");
    const auto& v = vglist.at(0);
    std::string all = v.name.c_str();
    for (std::string_view text : {v.format.view(), v.access.view(), v.status.view(), v.vgsize.view(), v.pesize.view(),
                                  v.allocsize.view(), v.freesize.view(), v.uuid.view()})
        all.append(",").append(text);
    for (int number : {v.maxlv, v.curlv, v.openlv, v.maxpv, v.curpv, v.actpv, v.totalpe, v.allocpe, v.freepe})
        all.append(",").append(std::to_string(number));
    return all;
}

TEST_F(Lvm, FirstKeyOfTheTableDecides) {
    expectOrder({"Format", "Access", "Status", "MAX LV", "Cur LV", "Open LV", "MAX PV", "Cur PV", "Act PV", "VG Size",
                 "PE Size", "Total PE", "Alloc PE / Size", "Free  PE / Size", "VG UUID"},
                groupValues);
}

// --- Logical volumes

static constexpr std::string_view Linear = "  --- Logical volume ---\n"
                                           "  LV Path                /dev/vg-a/lv-b\n"
                                           "  LV Name                lv-b\n"
                                           "  VG Name                vg-a\n"
                                           "  LV UUID                ZjCrGx-Js7p\n"
                                           "  LV Write Access        read/write\n"
                                           "  LV Creation host, time vmhost, 2026-11-21 00:06:04 +0000\n"
                                           "  LV Status              available\n"
                                           "  # open                 1\n"
                                           "  LV Size                120.00 MiB\n"
                                           "  Current LE             30\n"
                                           "  Segments               2\n"
                                           "  Allocation             inherit\n"
                                           "  Read ahead sectors     auto\n"
                                           "  - currently set to     256\n"
                                           "  Block device           253:4\n"
                                           "   \n"
                                           "  --- Segments ---\n"
                                           "  Logical extents 0 to 29:\n"
                                           "    Type\t\tlinear\n"
                                           "    Physical volume\t/dev/sdc\n"
                                           "    Physical extents\t5 to 34\n";

TEST_F(Lvm, VolumeAsTheToolPrintsIt) {
    getLogicalVolumes(Linear);
    ASSERT_EQ(lvlist.size(), 1U);
    auto& v = lvlist[0];
    EXPECT_EQ(v.path.view(), "/dev/vg-a/lv-b");
    EXPECT_EQ(v.name.view(), "lv-b");
    EXPECT_EQ(v.vgname.view(), "vg-a");
    EXPECT_EQ(v.fsname.view(), "vg-a-lv-b"); // hyphens are not doubled, though the kernel's name doubles them
    EXPECT_EQ(v.uuid.view(), "ZjCrGx-Js7p");
    EXPECT_EQ(v.waccess.view(), "read/write");
    EXPECT_EQ(v.status.view(), "available");
    EXPECT_EQ(v.open, 1);
    EXPECT_EQ(v.lvsize.view(), "120.00 MiB");
    EXPECT_EQ(v.curle, 30);
    EXPECT_EQ(v.segments, 2); // the heading does not change it
    EXPECT_EQ(v.allocation.view(), "inherit");
    EXPECT_EQ(v.RHS.view(), "auto");
    EXPECT_EQ(v.curRHS.view(), "256");
    EXPECT_EQ(v.major, 253);
    EXPECT_EQ(v.minor, 4);
    EXPECT_EQ(v.mount, NoLink);
    ASSERT_EQ(v.seg.size(), 1U);
    EXPECT_EQ(v.seg[0].name.view(), "sdc");
    EXPECT_EQ(v.seg[0].type.view(), "linear");
    EXPECT_EQ(v.seg[0].lext[0], 0);
    EXPECT_EQ(v.seg[0].lext[1], 29);
    EXPECT_EQ(v.seg[0].pext[0], 5);
    EXPECT_EQ(v.seg[0].pext[1], 34);
}

static std::string extentsOf(const std::vector<TSegment>& segments) {
    std::string all;
    for (auto& s : segments) {
        for (int number : {s.lext[0], s.lext[1], s.pext[0], s.pext[1]}) all.append(",").append(std::to_string(number));
        all.append(",").append(s.name.view()).append(",").append(s.type.view());
    }
    return all;
}

static std::string volumeValues(const std::string& line) {
    lvlist.clear();
    getLogicalVolumes("LV Name               lv\nLogical extents 0 to 29:\n" + line + "\n");
    const auto& v = lvlist.at(0);
    std::string all = v.name.c_str();
    for (std::string_view text : {v.vgname.view(), v.uuid.view(), v.waccess.view(), v.status.view(), v.lvsize.view(),
                                  v.allocation.view(), v.RHS.view(), v.curRHS.view()})
        all.append(",").append(text);
    for (int number : {v.open, v.curle, v.segments, v.major, v.minor}) all.append(",").append(std::to_string(number));
    return all + extentsOf(v.seg);
}

TEST_F(Lvm, FirstKeyOfAVolumeDecides) {
    expectOrder({"VG Name", "LV UUID", "LV Write Access", "LV Status", "# open", "LV Size", "Current LE", "Allocation",
                 "Read ahead sectors", "currently set to", "Block device", "Logical extent", "Physical extent",
                 "Physical volume", "Type"},
                volumeValues);
    // "Segments" is between "Current LE" and "Allocation" in the list. It sets its number only at the start of a line.
    EXPECT_EQ(volumeValues("Segments  Current LE   7"), volumeValues("........  Current LE   7"));
    EXPECT_EQ(volumeValues("Allocation  Segments   7"), volumeValues(".........."));
}

TEST_F(Lvm, SegmentsHeadingDecidesButDoesNothing) {
    getLogicalVolumes("LV Name                lv\nSegments               3\n  --- Segments ---\n"
                      "Logical extents 0 to 1:\n  --- Segments Type x\n");
    EXPECT_EQ(lvlist[0].segments, 3);
    EXPECT_EQ(lvlist[0].seg[0].type.view(), ""); // "Type" is not reached
}

TEST_F(Lvm, PathIsForTheNextNameOnly) {
    getLogicalVolumes("LV Path                /dev/vg/one\nLV Name                one\nLV Name                two\n"
                      "LV Path                /dev/vg/x\nLV Path                /dev/vg/three\n"
                      "LV Name                three\n");
    ASSERT_EQ(lvlist.size(), 3U);
    EXPECT_EQ(lvlist[0].path.view(), "/dev/vg/one");
    EXPECT_EQ(lvlist[1].path.view(), "");
    EXPECT_EQ(lvlist[2].path.view(), "/dev/vg/three");
}

TEST_F(Lvm, ExtentsOfMirrorsOpenSegments) {
    getLogicalVolumes("LV Name                mir\n"
                      "  Logical extents 0 to 9:\n"
                      "    Type\t\traid1\n"
                      "    Raid Data LV 0\n"
                      "      Logical volume\tmir_rimage_0\n"
                      "      Logical extents\t1 to 8\n"
                      "    Type\t\tlinear\n");
    ASSERT_EQ(lvlist[0].seg.size(), 2U);
    EXPECT_EQ(lvlist[0].seg[0].type.view(), "raid1");
    EXPECT_EQ(lvlist[0].seg[1].type.view(), "linear");
    EXPECT_EQ(lvlist[0].seg[1].lext[0], 1);
    EXPECT_EQ(lvlist[0].seg[1].lext[1], 8);
}

TEST_F(Lvm, SegmentLinesBeforeASegmentAreNobodys) {
    getLogicalVolumes(
        "LV Name                lv\nType\t\tlinear\nPhysical volume\t/dev/sda\nPhysical extents\t1 to 2\n");
    EXPECT_TRUE(lvlist[0].seg.empty());
    getLogicalVolumes("LV Name                b\nLogical extent\n"); // 14 characters: no numbers, yet a segment
    ASSERT_EQ(lvlist[1].seg.size(), 1U);
    EXPECT_EQ(lvlist[1].seg[0].lext[1], 0);
}

// The numbers start at a fixed column, the 16th or the 17th, whatever key precedes them.
TEST_F(Lvm, ExtentsStandFromAColumnOn) {
    getLogicalVolumes("LV Name                lv\nLogical extent 7 to 9:\n    Physical extent 5 to 8:\n");
    ASSERT_EQ(lvlist[0].seg.size(), 1U);
    EXPECT_EQ(lvlist[0].seg[0].lext[0], 7);
    EXPECT_EQ(lvlist[0].seg[0].pext[0], 5);
}

TEST_F(Lvm, ShortTypeLinesAreSkipped) {
    getLogicalVolumes("LV Name                lv\nLogical extents 0 to 9:\n    Type\t\tzero\n");
    EXPECT_EQ(lvlist[0].seg[0].type.view(), ""); // 10 characters
    getLogicalVolumes("    Type\t\terror\n");
    EXPECT_EQ(lvlist[0].seg[0].type.view(), "error");
}

TEST_F(Lvm, TextsOfSegmentsAreCut) {
    getLogicalVolumes("LV Name                lv\nLogical extents 0 to 9:\nPhysical volume\t/" + repeated('p', 300) +
                      "\nType\t\t" + repeated('t', 40) + "\n");
    EXPECT_EQ(lvlist[0].seg[0].name.view(), repeated('p', 255));
    EXPECT_EQ(lvlist[0].seg[0].type.view(), repeated('t', 31));
}

// --- Physical volumes

TEST_F(Lvm, PhysicalVolumeAsTheToolPrintsIt) {
    getPhysicalVolumes("  --- Physical volume ---\n"
                       "  PV Name               /dev/sdc\n"
                       "  VG Name               vg-a\n"
                       "  PV Size               10.00 GiB / not usable 4.00 MiB\n"
                       "  Allocatable           yes \n"
                       "  PE Size               4.00 MiB\n"
                       "  Total PE              174\n"
                       "  Free PE               84\n"
                       "  Allocated PE          90\n"
                       "  PV UUID               yochgl-uaJt\n"
                       "   \n"
                       "  --- Physical Segments ---\n"
                       "  Physical extent 0 to 29:\n"
                       "    Logical volume\t/dev/vg-a/lv-b\n"
                       "    Logical extents\t10 to 39\n"
                       "  Physical extent 30 to 173:\n"
                       "    FREE\n");
    ASSERT_EQ(pvlist.size(), 1U);
    auto& v = pvlist[0];
    EXPECT_EQ(v.name.view(), "/dev/sdc");
    EXPECT_EQ(v.lastname.view(), "sdc");
    EXPECT_EQ(v.vgname.view(), "vg-a");
    EXPECT_EQ(v.pvsize.view(), "10.00 GiB");
    EXPECT_EQ(v.notusable.view(), "4.00 MiB");
    EXPECT_EQ(v.allocatable.view(), "yes");
    EXPECT_EQ(v.pesize.view(), "4.00 MiB");
    EXPECT_EQ(v.totalpe, 174);
    EXPECT_EQ(v.freepe, 84);
    EXPECT_EQ(v.allocatedpe, 90);
    EXPECT_EQ(v.uuid.view(), "yochgl-uaJt");
    ASSERT_EQ(v.seg.size(), 2U);
    EXPECT_EQ(v.seg[0].name.view(), "/dev/vg-a/lv-b");
    EXPECT_EQ(v.seg[0].pext[1], 29);
    EXPECT_EQ(v.seg[0].lext[0], 10);
    EXPECT_EQ(v.seg[0].lext[1], 39);
    EXPECT_EQ(v.seg[1].name.view(), "");
    EXPECT_EQ(v.seg[1].pext[0], 30);
    EXPECT_EQ(v.seg[1].pext[1], 173);
    EXPECT_EQ(v.seg[1].lext[1], 0);
}

static std::string physicalValues(const std::string& line) {
    pvlist.clear();
    getPhysicalVolumes("PV Name               /dev/sdc\nPhysical extent 0 to 29:\n" + line + "\n");
    const auto& v = pvlist.at(0);
    std::string all = v.name.c_str();
    for (std::string_view text :
         {v.vgname.view(), v.pvsize.view(), v.notusable.view(), v.allocatable.view(), v.pesize.view(), v.uuid.view()})
        all.append(",").append(text);
    for (int number : {v.totalpe, v.freepe, v.allocatedpe}) all.append(",").append(std::to_string(number));
    return all + extentsOf(v.seg);
}

TEST_F(Lvm, FirstKeyOfAPhysicalVolumeDecides) {
    expectOrder({"VG Name", "PV Size", "Allocatable", "PE Size", "Total PE", "Free PE", "Allocated PE", "PV UUID",
                 "Physical extent", "Logical extent", "Logical volume"},
                physicalValues);
}

TEST_F(Lvm, SizeOfAPhysicalVolume) {
    static constexpr struct {
        std::string_view line, pvsize, notusable;
    } Cases[] = {
        {"PV Size   700.00 MiB / not usable 4.00 MiB  ", "700.00 MiB", "4.00 MiB"},
        {"PV Size   100.00 MiB  ", "100.00 MiB  ", ""}, // without the second part nothing is trimmed
        {"PV Size   / not usable 1 MiB", "", "1 MiB"},
        {"PV Size   1/ not usable 1 MiB", "", "1 MiB"}, // the character before the '/' is dropped as well
        {"PV Size   8 MiB / not usable", "8 MiB", ""},
        {"PV Size   8 MiB \t / not usable 1 MiB", "8 MiB", "1 MiB"},
        {"PV Size    ", "", ""},
    };
    for (auto& c : Cases) {
        pvlist.clear();
        getPhysicalVolumes("PV Name               /dev/sdc\n" + std::string(c.line) + "\n");
        EXPECT_EQ(pvlist[0].pvsize.view(), c.pvsize) << c.line;
        EXPECT_EQ(pvlist[0].notusable.view(), c.notusable) << c.line;
    }
}

TEST_F(Lvm, SecondSizeLineForgetsWhatWasNotUsable) {
    getPhysicalVolumes("PV Name               /dev/sdc\nPV Size   1 MiB / not usable 2 MiB\nPV Size      3 MiB\n");
    EXPECT_EQ(pvlist[0].pvsize.view(), "3 MiB");
    EXPECT_EQ(pvlist[0].notusable.view(), "");
}

TEST_F(Lvm, SizeOfAnExtent) {
    static const struct {
        std::string line, expected;
    } Cases[] = {
        {"PE Size (KByte) 4096", "4096 KByte"},
        {"PE Size (KByte)   ", " KByte"},
        {"PE Size               4.00 MiB", "4.00 MiB"},
        {"PE Size ) 4096", "4096"},       // nothing opens
        {"PE Size ( 4096  ", "( 4096  "}, // nothing closes
        {"PE Size )1 ( x", "1 ( x "},     // the first bracket of each kind, in either order; the word is empty
        {"PE Size (A B) 4096", "4096 A"}, // a word ends at a blank
        {"PE Size (" + repeated('u', 40) + ") 7", "7 " + repeated('u', 30)},
        {"PE Size (KByte) " + repeated('7', 70), repeated('7', 63)},
        {"PE Size (KByte) " + repeated('7', 60), repeated('7', 60) + " KB"},
    };
    for (auto& c : Cases) {
        pvlist.clear();
        getPhysicalVolumes("PV Name               /dev/sdc\n" + c.line + "\n");
        EXPECT_EQ(pvlist[0].pesize.view(), c.expected) << c.line;
    }
}

TEST_F(Lvm, PhysicalVolumeInNoGroup) {
    getPhysicalVolumes("  \"/dev/sdf\" is a new physical volume of \"100.00 MiB\"\n"
                       "  --- NEW Physical volume ---\n"
                       "  PV Name               /dev/sdf\n"
                       "  VG Name               \n"
                       "  Allocatable           NO\n");
    ASSERT_EQ(pvlist.size(), 1U);
    EXPECT_EQ(pvlist[0].vgname.view(), " "); // the blank that ends the line
    EXPECT_EQ(pvlist[0].allocatable.view(), "NO");
}

TEST_F(Lvm, NulEndsALine) {
    using namespace std::string_view_literals;
    getPhysicalVolumes("PV Name               /dev/sdf\0/dev/sdg\nTotal PE\0              5\n"sv);
    ASSERT_EQ(pvlist.size(), 1U);
    EXPECT_EQ(pvlist[0].name.view(), "/dev/sdf");
    EXPECT_EQ(pvlist[0].totalpe, 0);
}

TEST_F(Lvm, EmptyReports) {
    getVolumeGroups("");
    getLogicalVolumes("\n\n\n");
    getPhysicalVolumes("\r\n");
    EXPECT_TRUE(vglist.empty() && lvlist.empty() && pvlist.empty());
}

// --- No memory

TEST_F(Lvm, WithoutMemoryAListIsEmpty) {
    NEEDS_ITS_HEAP();
    for (auto get : {getVolumeGroups, getLogicalVolumes, getPhysicalVolumes}) {
        vglist = std::vector<TVGData>();
        lvlist = std::vector<TLVData>();
        pvlist = std::vector<TPVData>();
        vglist.reserve(1);
        lvlist.reserve(1);
        pvlist.reserve(1);
        // There is no room for the second one, and the rest is not read.
        EXPECT_TRUE(withoutMemory(512, [&] {
            get("VG Name     a\nLV Name     a\nPV Name     a\nVG Name     b\nLV Name     b\nPV Name     b\n"
                "VG Name     c\nLV Name     c\nPV Name     c\n");
            return vglist.empty() && lvlist.empty() && pvlist.empty();
        }));
    }
}

TEST_F(Lvm, WithoutMemoryASegmentIsLost) {
    NEEDS_ITS_HEAP();
    lvlist.reserve(1);
    pvlist.reserve(1);
    EXPECT_TRUE(withoutMemory(256, [] {
        getLogicalVolumes("LV Name     a\nLogical extents 0 to 4:\nPhysical volume\t/dev/sda\nType\t\tlinear\n"
                          "LV UUID     u\n");
        getPhysicalVolumes("PV Name     b\nPhysical extent 0 to 4:\nLogical volume\t/dev/vg/lv\nPV UUID     u\n");
        return lvlist.size() == 1 && lvlist[0].seg.empty() && lvlist[0].uuid.view() == "u" && pvlist.size() == 1 &&
               pvlist[0].seg.empty() && pvlist[0].uuid.view() == "u";
    }));
}

TEST_F(Lvm, LinesOfALostSegmentDoNotReachTheOneBefore) {
    NEEDS_ITS_HEAP();
    lvlist.reserve(1);
    lvlist.emplace_back().seg.emplace_back().name = "first";
    EXPECT_TRUE(withoutMemory(256, [] {
        getLogicalVolumes("Logical extents 5 to 9:\nPhysical extents 5 to 9:\nPhysical volume\t/dev/sdb\n");
        const auto& seg = lvlist[0].seg;
        return seg.size() == 1 && seg[0].name.view() == "first" && seg[0].lext[1] == 0 && seg[0].pext[1] == 0;
    }));
}

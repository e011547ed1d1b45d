// Logical volumes and their segments in the reports of the volume tools.
#include "tests/unit/lvmlists.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

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
    getLogicalVolumes("LV Name                lv\nLogical extents 0 to 9:\nPhysical volume\t/" + std::string(300, 'p') +
                      "\nType\t\t" + std::string(40, 't') + "\n");
    EXPECT_EQ(lvlist[0].seg[0].name.view(), std::string(255, 'p'));
    EXPECT_EQ(lvlist[0].seg[0].type.view(), std::string(31, 't'));
}

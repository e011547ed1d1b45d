// Lines of the reports of the volume tools: long, cut and empty ones, and those for which there is no memory.
#include "tests/unit/lvmlists.h"
#include "tests/unit/nomemory.h"

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

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
    getVolumeGroups("VG Name               a\n" + std::string(1012, ' ') + "VG Status  resizable\n");
    EXPECT_EQ(vglist[0].status.view(), " ");
    getVolumeGroups(std::string(1011, ' ') + "VG Status  resizable\n");
    EXPECT_EQ(vglist[0].status.view(), "r");
    getVolumeGroups(std::string(1003, ' ') + "VG Status  resizable\n"); // the newline alone is the second piece
    EXPECT_EQ(vglist[0].status.view(), "resizable");
    getVolumeGroups(std::string(1017, ' ') + "VG Status  resizing\n"); // cut within the key
    EXPECT_EQ(vglist[0].status.view(), "resizable");
}

TEST_F(Lvm, FieldsAreCut) {
    getVolumeGroups("VG Name   " + std::string(64, 'n') + "\nFormat    " + std::string(16, 'f') + "\nVG Size   " +
                    std::string(63, 's') + "\nAlloc PE / Size       1 / " + std::string(60, 'z') + "   " +
                    std::string(60, 'z') + "\n");
    ASSERT_EQ(vglist.size(), 1U);
    EXPECT_EQ(vglist[0].name.view(), std::string(63, 'n'));
    EXPECT_EQ(vglist[0].format.view(), std::string(15, 'f'));
    EXPECT_EQ(vglist[0].vgsize.view(), std::string(63, 's'));
    EXPECT_EQ(vglist[0].allocsize.view(), std::string(60, 'z')); // first cut, then trimmed
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

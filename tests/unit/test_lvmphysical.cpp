// Physical volumes in the reports of the volume tools.
#include "tests/unit/lvmlists.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

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
        {"PE Size (" + std::string(40, 'u') + ") 7", "7 " + std::string(30, 'u')},
        {"PE Size (KByte) " + std::string(70, '7'), std::string(63, '7')},
        {"PE Size (KByte) " + std::string(60, '7'), std::string(60, '7') + " KB"},
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

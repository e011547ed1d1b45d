// Volume groups in the reports of the volume tools.
#include "tests/unit/lvmlists.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

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

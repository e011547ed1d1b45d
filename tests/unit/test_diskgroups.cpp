// Disks and the volume groups, volumes and mounts on them in the classic form.
#include "tests/unit/diskstats.h"

#include <gtest/gtest.h>

#include <string>

// Two disks in one group, one of them twice as busy.
static const std::string GroupOfTwo = "command vgdisplay 2>/dev/null <<END\n  VG Name               vg\nEND\n"
                                      "command pvdisplay -m 2>/dev/null <<END\n"
                                      "  PV Name               /dev/sda\n  VG Name               vg\n"
                                      "  PV Name               /dev/sdb\n  VG Name               vg\nEND\n"
                                      "command lvdisplay -m 2>/dev/null <<END\n"
                                      "  LV Name                lv\n  VG Name                vg\n"
                                      "  Block device           253:0\nEND\n"
                                      "text /etc/mtab \"/dev/sdb\\s/b\\sext4\\srw\\s0\\s0\\n\"\nfs /b 1 1 1 1 1 1\n";

TEST(Disk, GroupsHaveMeansAndSums) {
    const std::string zero = "1 0 0 0 1 0 0 0 0 0 0";
    Machine machine({disk("sda", zero) + disk("sdb", zero),
                     disk("sda", "11 0 10 20 11 0 20 40 0 200 1000") + disk("sdb", "11 0 30 60 11 0 40 80 0 400 3000")},
                    GroupOfTwo);
    Disks disks(machine);
    disks.sample();
    ASSERT_EQ(disks.sample(1), 3);
    ASSERT_EQ(vglist.size(), 1U);
    const auto& vg = vglist[0].perf;
    EXPECT_EQ(vg.count, 2);
    EXPECT_DOUBLE_EQ(vg.time, 30);
    EXPECT_DOUBLE_EQ(vg.rbytes, 40 * 512);
    EXPECT_DOUBLE_EQ(vg.wbytes, 60 * 512);
    EXPECT_DOUBLE_EQ(vg.rxfers, 20);
    EXPECT_DOUBLE_EQ(vg.wxfers, 20);
    EXPECT_DOUBLE_EQ(vg.rtime, 4);
    EXPECT_DOUBLE_EQ(vg.wtime, 8.0 / 2); // that of sdb alone, halved like the other means
    EXPECT_DOUBLE_EQ(vg.await, (3.0 + 7.0) / 2);
    EXPECT_DOUBLE_EQ(vg.svctm, (10.0 + 20.0) / 2);
    EXPECT_DOUBLE_EQ(vg.avgq, 2);
    EXPECT_DOUBLE_EQ(pvlist[0].perf.time, 20);
    EXPECT_EQ(pvlist[1].perf.count, 1);
    EXPECT_DOUBLE_EQ(mountlist[0].perf.time, 40);
    EXPECT_DOUBLE_EQ(mountlist[0].perf.wtime, 8);
    EXPECT_EQ(lvlist[0].perf.count, 0);
}

TEST(Disk, VolumesAreClearedEveryPass) {
    const std::string zero = "1 0 0 0 1 0 0 0 0 0 0", one = "2 0 2 0 1 0 0 0 0 0 0";
    Machine machine({disk("sda", zero), disk("sda", one), disk("sda", one)}, GroupOfTwo);
    Disks disks(machine);
    disks.sample();
    disks.sample();
    EXPECT_EQ(vglist[0].perf.count, 1);
    disks.sample();
    EXPECT_EQ(vglist[0].perf.count, 0);
    EXPECT_EQ(vglist[0].perf.rbytes, 0);
}

// Labels stay with a position of a slot; links into an older map are not followed.
TEST(Disk, OldLinksAreNotFollowed) {
    const auto sda = [](int n) { return disk("sda", std::to_string(n) + " 0 0 0 1 0 0 0 0 0 0"); };
    const auto sdx = [](int n) { return disk("sdx", std::to_string(n) + " 0 0 0 1 0 0 0 0 0 0", 5); };
    Machine machine({sda(1),          // mapped: sda in slot 0 belongs to the group
                     sdx(1) + sdx(1), // slot 1: another count, so mapped again
                     sdx(1) + sda(2), // slot 0: position 1 is new and has no labels
                     sda(3) + sda(3), // slot 1: position 0 has another name
                     sda(4) + sda(4)},
                    GroupOfTwo);
    Disks disks(machine);
    disks.sample();
    EXPECT_EQ(disks.slots.sample[0][0].labels().vgname.view(), "vg");
    disks.sample();
    EXPECT_EQ(disks.slots.sample[1][0].labels().vgname.view(), "");
    EXPECT_EQ(disks.slots.sample[0][0].labels().vgname.view(), "vg"); // the text stays
    EXPECT_NE(disks.slots.sample[0][0].labels().map, mapNumber);      // the link is not followed
    disks.sample(); // sdx at position 0 takes over the labels of slot 1; sda at position 1 had another name there
    EXPECT_EQ(disks.slots.sample[0][0].labels().vgname.view(), "");
    EXPECT_EQ(disks.slots.sample[0][1].labels().vgname.view(), "");
    disks.sample();
    EXPECT_EQ(vglist[0].perf.count, 0);
}

TEST(Disk, TextsOfAnOldMapAreShownAgain) {
    const auto sda = [](int n) { return disk("sda", std::to_string(n) + " 0 0 0 1 0 0 0 0 0 0"); };
    const auto sdx = [](int n) { return disk("sdx", std::to_string(n) + " 0 0 0 1 0 0 0 0 0 0", 5); };
    Machine machine(
        {sda(1) + sda(1),          // slot 0: position 0 belongs to the group
         sdx(1) + sda(1) + sda(1), // slot 1: three devices, so mapped again
         sda(1) + sda(1) + sda(1), // slot 0: position 0 had another name in slot 1, so it keeps its old label
         sda(2) + sda(1) + sda(1)},
        GroupOfTwo);
    Disks disks(machine);
    disks.sample();
    disks.sample();
    disks.sample();
    EXPECT_EQ(disks.slots.sample[0][0].labels().vgname.view(), "vg");
    ASSERT_EQ(disks.sample(), 2);
    EXPECT_EQ(disks.row(1).labels->vgname.view(), "vg"); // shown
    EXPECT_EQ(vglist[0].perf.count, 0);                  // but not counted
}

TEST(Disk, PositionsBeyondTheEndForgetTheirLabels) {
    const std::string a = disk("sda", "1 0 0 0 1 0 0 0 0 0 0"), x = disk("sdx", "1 0 0 0 1 0 0 0 0 0 0", 5);
    Machine machine({a + a,  // slot 0 has two positions, both in the group
                     a,      // slot 1
                     a,      // slot 0 has only one
                     a + x,  // slot 1, mapped again
                     a + a}, // slot 0 has two again; the second one had another name in slot 1
                    GroupOfTwo);
    Disks disks(machine);
    for (int pass = 0; pass < 5; pass++) disks.sample();
    EXPECT_EQ(disks.slots.sample[0][0].labels().vgname.view(), "vg");
    EXPECT_EQ(disks.slots.sample[0][1].labels().vgname.view(), "");
}

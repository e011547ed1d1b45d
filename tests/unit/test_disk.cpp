#include "classic/collect/disk.h"
#include "classic/monitor/options.h"
#include "tests/unit/made.h"
#include "tests/unit/nomemory.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// --- Lines

TEST(DiskLine, Full) {
    TDisk d;
    d.name = "before";
    ASSERT_TRUE(getDiskLine("   8       0 sda 1 2 3 4 5 6 7 8 9 10 11\n", d));
    EXPECT_EQ(d.name.view(), "sda");
    EXPECT_EQ(d.major, 8);
    EXPECT_EQ(d.minor, 0);
    EXPECT_EQ(d.rxfers, 1);
    EXPECT_EQ(d.rbytes, 3 * 512);
    EXPECT_EQ(d.rtime, 4);
    EXPECT_EQ(d.wxfers, 5);
    EXPECT_EQ(d.wbytes, 7 * 512);
    EXPECT_EQ(d.wtime, 8);
    EXPECT_EQ(d.curq, 9);
    EXPECT_EQ(d.time, 10);
    EXPECT_EQ(d.avgq, 11);
}

TEST(DiskLine, Partition) {
    TDisk d;
    d.time = d.rtime = d.wtime = d.curq = d.avgq = 9;
    ASSERT_TRUE(getDiskLine("   8       1 sda1 1 2 3 4\n", d));
    EXPECT_EQ(d.name.view(), "sda1");
    EXPECT_EQ(d.minor, 1);
    EXPECT_EQ(d.rxfers, 1);
    EXPECT_EQ(d.rbytes, 2 * 512);
    EXPECT_EQ(d.wxfers, 3);
    EXPECT_EQ(d.wbytes, 4 * 512);
    EXPECT_EQ(d.time + d.rtime + d.wtime + d.curq + d.avgq, 0);
}

TEST(DiskLine, OnlySevenOrFourteenWords) {
    for (int count = 0; count < 40; count++) {
        std::string line;
        for (int i = 0; i < count; i++) line.append(" ").append(std::to_string(i + 1));
        TDisk d;
        EXPECT_EQ(getDiskLine(line, d), count == 7 || count == 14) << count;
        EXPECT_EQ(getDiskLine(line + "\n", d), count == 7 || count == 14) << count;
        // A blank before the newline makes it a word of its own.
        EXPECT_EQ(getDiskLine(line + " \n", d), count + 1 == 7 || count + 1 == 14) << count;
        EXPECT_EQ(getDiskLine(line + "   ", d), count == 7 || count == 14) << count;
    }
}

TEST(DiskLine, NewlineAsTheLastCounter) {
    TDisk d;
    ASSERT_TRUE(getDiskLine("8 1 sda1 1 2 3 \n", d));
    EXPECT_EQ(d.wbytes, 0);
}

TEST(DiskLine, TabsAreNoBlanks) {
    TDisk d;
    EXPECT_FALSE(getDiskLine("8\t1\tsda1\t1\t2\t3\t4\n", d));
    ASSERT_TRUE(getDiskLine("8 1 sd\ta1 1 2 3 4\n", d));
    EXPECT_EQ(d.name.view(), "sd\ta1");
}

TEST(DiskLine, IdleDevicesAreNotKept) {
    TDisk d;
    d.name = "before";
    EXPECT_FALSE(getDiskLine("8 0 sda 0 2 3 4 0 6 7 8 9 10 11\n", d));
    EXPECT_FALSE(getDiskLine("8 0 sda1 0 2 0 4\n", d));
    EXPECT_FALSE(getDiskLine("8 0 sda1 -5 2 5 4\n", d));
    EXPECT_EQ(d.name.view(), "before"); // nothing was set
    EXPECT_TRUE(getDiskLine("8 0 sda1 0 0 1 0\n", d));
}

TEST(DiskLine, NamesAreCut) {
    for (size_t length : {62U, 63U, 64U, 65U, 200U}) {
        TDisk d;
        ASSERT_TRUE(getDiskLine(std::string("8 0 ").append(length, 'n').append(" 1 2 3 4\n"), d));
        EXPECT_EQ(d.name.size(), std::min<size_t>(length, 63)) << length;
    }
}

TEST(DiskLine, NumbersAsTheCLibraryReadsThem) {
    TDisk d;
    ASSERT_TRUE(getDiskLine("4294967304x -1 sda1 99999999999999999999 -99999999999999999999 1 x\n", d));
    EXPECT_EQ(d.major, 8);
    EXPECT_EQ(d.minor, -1);
    EXPECT_EQ(d.rxfers, 9223372036854775807.0);
    EXPECT_EQ(d.rbytes, -9223372036854775808.0 * 512);
    EXPECT_EQ(d.wbytes, 0);
}

// --- Samples

namespace {
// A machine whose step N has the N-th text as its diskstats.
struct Machine : Made {
    explicit Machine(const std::vector<std::string>& diskstats, const std::string& first = {})
        : Made(first + "\n" + steps(diskstats)) {
        ShowDiskInfo = 0;
    }
    static std::string steps(const std::vector<std::string>& diskstats) {
        std::string lines;
        for (size_t i = 0; i < diskstats.size(); i++)
            lines += "step " + std::to_string(i) + "\nfile /proc/diskstats <<END\n" + diskstats[i] + "END\n";
        return lines;
    }
};

// Takes the samples of the machine one after another.
class Disks {
    Machine& machine;
    int pass = 0;

public:
    TDiskSlots slots;
    bool mapped = false; // the last sample built the volume map
    explicit Disks(Machine& m) : machine(m) {}
    int sample(double seconds = 1) {
        if (pass > 0) machine.step();
        const int now = pass % 2, before = 1 - now;
        mapped = getDiskSample(pass++, now, before, seconds, slots).mapStart.has_value();
        return getdisk(now, before, seconds, slots);
    }
    const TDiskRate& row(size_t i) const { return slots.result.at(i); }
};
} // namespace

static std::string disk(const std::string& name, const std::string& counters, int minor = 0) {
    std::string line = "   8       ";
    line.append(std::to_string(minor)).append(" ").append(name).append(" ").append(counters).append("\n");
    return line;
}

TEST(Disk, Formulas) {
    Machine machine(
        {disk("sda", "10 0 100 20 30 0 300 40 5 1000 5000"), disk("sda", "30 0 500 120 40 0 700 90 7 2000 9000")});
    Disks disks(machine);
    EXPECT_EQ(disks.sample(), 0);
    ASSERT_EQ(disks.sample(2), 2);
    const auto& p = disks.row(1).perf;
    EXPECT_EQ(disks.row(1).name, "sda");
    EXPECT_DOUBLE_EQ(p.time, 50);          // 1000 ms of 2 s
    EXPECT_DOUBLE_EQ(p.rbytes, 200 * 512); // 400 sectors
    EXPECT_DOUBLE_EQ(p.wbytes, 200 * 512);
    EXPECT_DOUBLE_EQ(p.rxfers, 10);
    EXPECT_DOUBLE_EQ(p.wxfers, 5);
    EXPECT_DOUBLE_EQ(p.rtime, 5); // 100 ms for 20 reads
    EXPECT_DOUBLE_EQ(p.wtime, 5); // 50 ms for 10 writes
    EXPECT_DOUBLE_EQ(p.await, 5); // 150 ms for 30
    EXPECT_DOUBLE_EQ(p.svctm, 500.0 / 15);
    EXPECT_DOUBLE_EQ(p.avgq, 2); // 4000 ms of 2 s
    const auto& total = disks.row(0);
    EXPECT_EQ(total.name, "Total");
    EXPECT_EQ(total.major, 1);
    EXPECT_EQ(total.minor, 1);
    EXPECT_DOUBLE_EQ(total.perf.time, 50);
    EXPECT_DOUBLE_EQ(total.perf.rbytes, 200 * 512);
}

// The order of the divisions changes the last bits of a value. They become visible when the value is halfway between
// two printable ones.
TEST(Disk, FormulasAreRoundedInTheirOrder) {
    constexpr int Steps = 60;
    std::vector<std::string> texts;
    for (int i = 0; i < Steps; i++) {
        const auto of = [&](int change) { return std::to_string(1 + i * change); };
        texts.push_back(disk("sda", of(7) + " 0 " + of(23) + " " + of(13) + " " + of(3) + " 0 " + of(41) + " " +
                                        of(11) + " 0 " + of(17) + " " + of(29)));
    }
    Machine machine(texts);
    Disks disks(machine);
    EXPECT_EQ(disks.sample(), 0);
    for (int i = 1; i < Steps; i++) {
        const double seconds = 0.037 + 0.1 * i;
        ASSERT_EQ(disks.sample(seconds), 2);
        const auto& p = disks.row(1).perf;
        EXPECT_EQ(p.time, 17 / seconds / 10.0);
        EXPECT_EQ(p.rbytes, 23 * 512 / seconds);
        EXPECT_EQ(p.wbytes, 41 * 512 / seconds);
        EXPECT_EQ(p.rtime, 13 / (7 / seconds) / seconds);
        EXPECT_EQ(p.wtime, 11 / (3 / seconds) / seconds);
        EXPECT_EQ(p.await, 24 / (7 / seconds + 3 / seconds) / seconds);
        EXPECT_EQ(p.svctm, 17 / seconds / 10.0 * 10.0 / (7 / seconds + 3 / seconds));
        EXPECT_EQ(p.avgq, 29 / seconds / 1000.0);
    }
}

TEST(Disk, BusyEndsAtHundred) {
    Machine machine({disk("sda", "1 0 0 0 0 0 0 0 0 0 0"), disk("sda", "1 0 0 0 0 0 0 0 0 1001 0")});
    Disks disks(machine);
    disks.sample();
    ASSERT_EQ(disks.sample(1), 2);
    EXPECT_EQ(disks.row(1).perf.time, 100);
    EXPECT_EQ(disks.row(1).perf.await, 0);
    EXPECT_EQ(disks.row(1).perf.svctm, 0); // busy without a transfer
}

TEST(Disk, PartitionOfAnOldKernelHasRatesOnly) {
    Machine machine({disk("sda1", "1 10 2 20"), disk("sda1", "3 30 5 50")});
    Disks disks(machine);
    disks.sample();
    ASSERT_EQ(disks.sample(1), 2);
    const auto& p = disks.row(1).perf;
    EXPECT_EQ(p.rxfers, 2);
    EXPECT_EQ(p.wbytes, 30 * 512);
    EXPECT_EQ(p.time + p.rtime + p.wtime + p.await + p.svctm + p.avgq, 0);
    EXPECT_EQ(disks.row(0).major, 0); // no whole disk
    EXPECT_EQ(disks.row(0).perf.rxfers, 0);
}

TEST(Disk, IdleDevicesAreLeftOut) {
    const std::string idle = disk("sda", "1 0 1 1 1 0 1 1 1 1 1");
    Machine machine({idle, idle, disk("sda", "1 0 1 1 1 0 1 1 9 1 9")});
    Disks disks(machine);
    disks.sample();
    EXPECT_EQ(disks.sample(), 1); // the total alone
    EXPECT_EQ(disks.sample(), 1); // a queue alone does not count as activity
}

TEST(Disk, CountersThatWentBack) {
    Machine machine({disk("sda", "9 0 900 9 9 0 900 9 0 900 900"), disk("sda", "1 0 1 1 1 0 1 1 0 1 1"),
                     disk("sda", "2 0 0 1 0 0 0 1 0 1 1")});
    Disks disks(machine);
    disks.sample();
    EXPECT_EQ(disks.sample(), 1);
    ASSERT_EQ(disks.sample(), 1); // a read more, a write less: nothing in the sum
}

TEST(Disk, TotalIsOverNamesThatDoNotEndInADigit) {
    std::string before, after;
    for (auto name : {"sda", "sda1", "dm-0", "md0", "nvme0n1", "sdb", "vd:", "x\xff"}) {
        before += disk(name, "1 0 0 0 0 0 0 0 0 0 0");
        after += disk(name, "2 0 0 0 0 0 0 0 0 100 0");
    }
    Machine machine({before, after});
    Disks disks(machine);
    disks.sample();
    EXPECT_EQ(disks.sample(1), 9);
    EXPECT_EQ(disks.row(0).major, 3); // sda, sdb and "vd:"; a byte above 127 is below '9' as a signed character
    EXPECT_EQ(disks.row(0).perf.rxfers, 3);
    EXPECT_EQ(disks.row(0).perf.time, 10); // the mean
}

TEST(Disk, DevicesThatChangePlacesSitOut) {
    const std::string a = "1 0 0 0 0 0 0 0 0 0 0", b = "2 0 0 0 0 0 0 0 0 0 0";
    Machine machine({disk("sda", a) + disk("sdb", a) + disk("sdc", a), disk("sdb", b) + disk("sda", b) + disk("sdc", b),
                     disk("sdb", b) + disk("sda", b) + disk("sdc", a)});
    Disks disks(machine);
    disks.sample();
    ASSERT_EQ(disks.sample(), 2);
    EXPECT_EQ(disks.row(1).name, "sdc");
    EXPECT_EQ(disks.sample(), 1); // they are comparable again, but idle
}

TEST(Disk, MapIsRebuiltWhenTheCountChanges) {
    const std::string a = "1 0 0 0 0 0 0 0 0 0 0";
    Machine machine({disk("sda", a), disk("sda", a) + disk("sdb", a), disk("sda", a) + disk("sdb", a)});
    Disks disks(machine);
    const unsigned first = mapNumber;
    disks.sample();
    EXPECT_EQ(mapNumber, first + 1);
    EXPECT_EQ(disks.sample(), 0);
    EXPECT_EQ(mapNumber, first + 2);
    EXPECT_EQ(disks.sample(), 1);
    EXPECT_EQ(mapNumber, first + 2);
    EXPECT_EQ(machine.log(), "run vgdisplay 2>/dev/null\nrun lvdisplay -m 2>/dev/null\nrun pvdisplay -m 2>/dev/null\n"
                             "run multipath -ll 2>/dev/null\npause 1000000\n"
                             "run vgdisplay 2>/dev/null\nrun lvdisplay -m 2>/dev/null\nrun pvdisplay -m 2>/dev/null\n"
                             "run multipath -ll 2>/dev/null\npause 1000000\n");
}

TEST(Disk, IntervalsBelowANanosecond) {
    const std::string a = disk("sda", "1 0 0 0 0 0 0 0 0 0 0");
    Machine machine({a, a, a, a});
    Disks disks(machine);
    disks.sample();
    const unsigned first = mapNumber;
    EXPECT_EQ(disks.sample(0.9e-9), 0);
    EXPECT_EQ(mapNumber, first + 1);
    EXPECT_EQ(disks.sample(-1), 0);
    EXPECT_EQ(mapNumber, first + 2);
    EXPECT_EQ(disks.sample(1e-9), 1);
    EXPECT_EQ(mapNumber, first + 2);
}

TEST(Disk, NoDevices) {
    Machine machine({"", "8 0 sda 1 2 3\n", disk("sda", "0 0 0 0 0 0 0 0 0 0 0")});
    Disks disks(machine);
    EXPECT_EQ(disks.sample(), 1); // nothing before, nothing now: the total, at once
    EXPECT_EQ(disks.sample(), 1);
    EXPECT_EQ(disks.sample(), 1);
    EXPECT_EQ(disks.row(0).perf.time, 0);
}

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

TEST(Disk, LongLinesComeInPieces) {
    // The line's second piece is a line of its own: here a device.
    const std::string first = "8 0 sda 1 2 3 4";
    std::string line(1023 - first.size(), ' ');
    line.append(first).append("8 1 sdb 1 2 3 4\n");
    Machine machine({line});
    Disks disks(machine);
    disks.sample();
    ASSERT_EQ(disks.slots.sample[0].size(), 2U);
    EXPECT_EQ(disks.slots.sample[0][0].name.view(), "sda");
    EXPECT_EQ(disks.slots.sample[0][1].name.view(), "sdb");
}

// --- No memory

TEST(Disk, NoMemoryForTheDevices) {
    NEEDS_ITS_HEAP();
    Machine machine({"8 0 sda 1 2 3 4\n", "8 0 sda 2 3 4 5\n"});
    Disks disks(machine);
    disks.sample();
    machine.step();
    EXPECT_EQ(printed([&] {
                  EXPECT_TRUE(withoutMemory(2048, [&] {
                      const auto sample = getDiskSample(1, 1, 0, 1, disks.slots);
                      flushOutput();
                      return !sample.read && !sample.mapStart && disks.slots.sample[1].empty() &&
                             disks.slots.result.empty();
                  }));
              }),
              "Failed to get memory for disk [ENO(12):Cannot allocate memory]\n")
        << "and no map is built";
}

TEST(Disk, NoMemoryForTheRates) {
    NEEDS_ITS_HEAP();
    Machine machine({"8 0 sda 1 2 3 4\n", "8 0 sda 2 3 4 5\n"});
    Disks disks(machine);
    disks.sample();
    machine.step();
    disks.slots.sample[1].reserve(1);
    ASSERT_TRUE(getDiskSample(1, 1, 0, 1, disks.slots).read);
    EXPECT_EQ(printed([&] {
                  EXPECT_TRUE(withoutMemory(1024, [&] {
                      const int count = getdisk(1, 0, 1, disks.slots);
                      flushOutput();
                      return count == 0 && disks.slots.sample[1].size() == 1 && disks.slots.result.empty();
                  }));
              }),
              "Failed to get memory for topdisk [ENO(12):Cannot allocate memory]\n");
}

// Samples and rates of disks in the classic form.
#include "tests/unit/diskstats.h"
#include "tests/unit/nomemory.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

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

// The devices of groups: their names, and transfers that several devices count.
#include "tests/unit/cgroupmachine.h"

#include <cstdint>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

// The members that a group does not name have their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

TEST(CgroupRows, DisksHaveTheirNames) {
    const auto io = [](const std::string& bytes) {
        return groupOf("", {.cpu = cpuOf(toLong(bytes) > 0 ? 7 : 8), .below = 1}) +
               groupOf("/a", {.cpu = cpuOf(toLong(bytes) > 0 ? 7 : 8),
                              .io = "8:0 rbytes=" + bytes + " wbytes=0 rios=1 wios=0 dbytes=0 dios=0\n104:0 rbytes=" +
                                    bytes + " wbytes=0 rios=0 wios=0 dbytes=0 dios=0\n9:9 rbytes=" + bytes +
                                    " wbytes=0 rios=0 wios=0 dbytes=0 dios=0\n"});
    };
    GroupMachine machine(GroupMounts + io("0") + "link /sys/dev/block/8:0 ../../devices/pci/block/sda\n" +
                         "link /sys/dev/block/104:0 ../../devices/pci/block/cciss!c0d0\nstep 1\n" + io("4096"));
    const auto result = machine.next();
    ASSERT_EQ(result.devices.rows.size(), 3U);
    EXPECT_EQ(result.devices.rows[0].disk, "sda");
    EXPECT_EQ(result.devices.rows[1].disk, "");
    EXPECT_EQ(result.devices.rows[1].device, "9:9");
    EXPECT_EQ(result.devices.rows[2].disk, "cciss/c0d0");
}

// What a volume moves, its disks move, too.
TEST(CgroupRows, TransfersCountOnceHoweverManyDevicesCountThem) {
    std::string lines = GroupMounts;
    const auto device = [&](const std::string& name, const std::string& number, const std::string& below) {
        const auto folder = "/sys/devices/" + name;
        lines += "link /sys/block/" + name + " ../devices/" + name + "\nlink /sys/dev/block/" + number +
                 " ../../devices/" + name + "\ntext " + folder + "/dev \"" + number + "\\n\"\ndir " + folder +
                 "/slaves\n";
        const auto last = below.substr(below.rfind('/') + 1);
        if (!below.empty()) lines += "link " + folder + "/slaves/" + last + " ../../" + below + "\n";
    };
    device("sda", "8:0", "");
    device("sdb", "8:16", "");
    device("dm-0", "253:0", "sdb");      // a multipath disk, whose paths the group's transfers are not charged on
    device("dm-1", "253:1", "dm-0");     // on it
    device("dm-2", "253:2", "sda/sda2"); // on a partition
    device("dm-3", "253:3", "dm-2");
    device("sdc", "8:32", "");
    device("md0", "9:0", "sdc"); // reads in the name of the group, and writes in its own
    device("loop0", "7:0", "");  // its file is on a disk
    const struct {
        const char* number;
        uint64_t read, written;
    } Moved[] = {{"7:0", 1, 1},      {"8:0", 20, 20},          {"8:16", 0, 0},         {"8:32", 300, 0},
                 {"9:0", 300, 5000}, {"253:0", 4000, 40000},   {"253:1", 4000, 40000}, {"253:2", 10, 10},
                 {"253:3", 10, 10},  {"259:9", 600000, 600000}}; // nothing is known of the last one
    const auto io = [&](bool moved) {
        std::string text;
        for (auto& [number, read, written] : Moved)
            text += std::string(number) + " rbytes=" + std::to_string(moved ? read : 0) +
                    " wbytes=" + std::to_string(moved ? written : 0) + " rios=0 wios=0 dbytes=0 dios=0\n";
        return groupOf("", {.cpu = cpuOf(moved ? 7 : 8), .below = 1}) +
               groupOf("/a", {.cpu = cpuOf(moved ? 7 : 8), .io = text});
    };
    GroupMachine machine(lines + io(false) + "step 1\n" + io(true));
    const auto result = machine.next();
    EXPECT_EQ(result.devices.rows.size(), std::size(Moved) - 1);
    EXPECT_EQ(result.find("/a")->read_bytes, 604320U);
    EXPECT_EQ(result.find("/a")->write_bytes, 645020U);
}

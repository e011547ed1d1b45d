#include "view/volumes.h"

#include "tests/unit/recordedvolumes.h"

#include <algorithm>

// The rows of a recorded machine.
static Interval rowsOf(const std::string& name, const std::string& maps = "") {
    const Made made(recorded(name));
    const auto map = mapNow(maps.empty() ? "" : name + "/" + maps);
    Interval interval;
    interval.volumes.rows = map.volumes;
    interval.holds.rows = map.holds;
    interval.mounts.rows = map.mounts;
    return interval;
}

static std::string shown(const Interval& interval, size_t width, std::optional<uint64_t> rows = {}) {
    const LogHead head;
    ViewRow asked;
    if (rows) asked.rows = rows;
    Page page(width, false);
    showVolumes(interval, {head, asked}, page);
    return page.text();
}

// By the device's name or label.
static std::string holdsOf(const Interval& interval, std::string_view name) {
    for (auto& row : interval.volumes.rows)
        if (row.name == name || row.label == name) return Holdings(interval).of(row.dev);
    return "none";
}

// The lines of the tree that tell of these names, each with what stands on it.
static std::string lineOf(const std::string& text, const std::string& name) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (line.substr(std::min(line.find_first_not_of(' '), line.size())).starts_with(name + " ")) return line;
    return "none";
}

TEST(ViewVolumes, WhatADiskHolds) {
    const auto stack = rowsOf("stack");
    EXPECT_EQ(holdsOf(stack, "vda"), "p1 /");
    EXPECT_EQ(holdsOf(stack, "vda1"), "/");
    EXPECT_EQ(holdsOf(stack, "sda"), "p1 /mnt/boot/efi, vg_sys: root /mnt/root, swap [swap], log--x /mnt/with space");
    EXPECT_EQ(holdsOf(stack, "sdb"), "md127 safe_crypt vg-safe: data /srv/data +1");
    EXPECT_EQ(holdsOf(stack, "sdf"), "md126 /srv/bulk");
    EXPECT_EQ(holdsOf(stack, "sdg"), "pool /srv/pool +1");
    EXPECT_EQ(holdsOf(stack, "sdj"), "bcache0 /srv/cached");
    EXPECT_EQ(holdsOf(stack, "sdk"), "[swap]");
    EXPECT_EQ(Holdings(stack).of("99:99"), "");
    EXPECT_EQ(holdsOf(rowsOf("mp-failover"), "sdb"), "mpathb");
    EXPECT_EQ(holdsOf(rowsOf("mp-lvm"), "sdc"), "SANLUN3 vgpart: onpart /mnt/onpart, SANLUN3 p2 /mnt/p2");
    EXPECT_EQ(holdsOf(rowsOf("lvm-rich"), "sdg"), "vg-thin: thin1 /mnt/thin1, thin-2, thin1-snap, orig /mnt/orig, "
                                                  "orig-snap /mnt/orig-snap, tagged");
    EXPECT_EQ(holdsOf(rowsOf("nvme"), "nvme1c0n1"), "nvme1n1 vgnvme: db /srv/db");
}

TEST(ViewVolumes, TreeOfRaidCryptAndCaches) {
    const auto text = shown(rowsOf("stack"), 0);
    const auto part = text.substr(text.find("sdb "), text.find("sdk ") - text.find("sdb "));
    EXPECT_EQ(part,
              "sdb                      220M disk   linux_raid_member                                 QEMU HARDDISK\n"
              "  md127                  219M raid1  crypto_LUKS                                       safe\n"
              "    safe_crypt           203M crypt  LVM2_member\n"
              "      vg-safe/data       100M lvm    ext4                              /srv/data +1\n"
              "sdc                      220M disk   linux_raid_member                                 QEMU HARDDISK\n"
              "  md127                       above\n"
              "sdd                      120M disk   linux_raid_member                                 QEMU HARDDISK\n"
              "  md126                  236M raid5  ext4              degraded 1 of 3 /srv/bulk       bulk\n"
              "sde                      120M disk   linux_raid_member                                 QEMU HARDDISK\n"
              "  md126                       above\n"
              "sdf                      120M disk   linux_raid_member                                 QEMU HARDDISK\n"
              "  md126                       above                    faulty\n"
              "sdg                      256M disk   btrfs                                             QEMU HARDDISK\n"
              "  pool                   512M btrfs  btrfs                             /srv/pool +1\n"
              "sdh                      256M disk   btrfs                                             QEMU HARDDISK\n"
              "  pool                        above\n"
              "sdi                      200M disk   bcache                                            QEMU HARDDISK\n"
              "  bcache0                200M bcache ext4                              /srv/cached\n"
              "sdj                      600M disk   bcache                                            QEMU HARDDISK\n"
              "  bcache0                     above                    cache\n");
}

TEST(ViewVolumes, PathsAndTheirDevices) {
    const auto text = shown(rowsOf("mp-failover", "multipathd-maps.1.json"), 80);
    EXPECT_EQ(lineOf(text, "mpatha"),
              "  mpatha               path failed, 1 of 2 paths failed                 /mnt/mpa");
    EXPECT_NE(lineOf(text, "mpathb").find("path failed, device offline, 1 of 2 paths failed"), std::string::npos);
    for (std::istringstream lines(text); lines;) {
        std::string line;
        std::getline(lines, line);
        EXPECT_LE(line.size(), 80u);
    }
    EXPECT_EQ(lineOf(shown(rowsOf("mp-lvm"), 0), "SANLUN3-part2"),
              "    SANLUN3-part2       60.0M part   ext4                  /mnt/p2");
}

TEST(ViewVolumes, AskedRowsOnly) {
    const auto stack = rowsOf("stack");
    const auto text = shown(stack, 0, 3);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 4);
    EXPECT_EQ(shown(Interval{}, 0), "");
}

TEST(ViewVolumes, WhatADamagedLogSaysEnds) {
    Interval interval;
    std::vector<std::string> names;
    for (int i = 0; i < 100; i++) names.push_back(std::to_string(i));
    for (auto& name : names) interval.volumes.rows.push_back({name, "x" + name, "dm", "", "", "", {}});
    for (int i = 0; i < 100; i++)
        interval.holds.rows.push_back({std::to_string((i + 1) % 100), std::to_string(i), "", ""}); // a circle
    interval.holds.rows.push_back({"0", "0", "", ""});
    interval.holds.rows.push_back({"0", "none", "", ""});
    interval.mounts.rows.push_back({"none", "/x", "ext4", ""});
    for (auto& name : names) EXPECT_NE(shown(interval, 0).find("x" + name + " "), std::string::npos);
    EXPECT_LT(Holdings(interval).of("0").size(), 400u);
}

TEST(ViewVolumes, NamesFromTheMachineDoNotReachTheTerminal) {
    Interval interval;
    interval.volumes.rows = {{"8:0", "sda", "di\x1Bsk", "mo\ndel", "\xff", "st\ate", 512},
                             {"253:0", "dm-0", "lvm", "v\x1Bg/l\nv", "", "", {}}};
    interval.holds.rows = {{"253:0", "8:0", "fai\nled", "off\x1Bline"}};
    interval.mounts.rows = {{"253:0", "/a\nb", "ext4", ""}};
    for (const auto& text : {shown(interval, 0), Holdings(interval).of("8:0") + "\n"})
        for (const char c : text) EXPECT_TRUE(c == '\n' || static_cast<unsigned char>(c) >= ' ') << text;
    EXPECT_EQ(Holdings(interval).of("8:0"), "v\\x1Bg: l\\x0Av /a\\x0Ab");
    const auto text = shown(interval, 0);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
}

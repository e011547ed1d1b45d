// The texts that tell of volumes: udev's files, mount tables, swap areas, uevents, the tools' reports.
#include "parse/mountinfo.h"
#include "parse/multipathd.h"
#include "parse/swaps.h"
#include "parse/udev.h"
#include "parse/uevent.h"
#include "parse/volumegroups.h"

#include <gtest/gtest.h>

using namespace std::string_view_literals;

TEST(ParseUdev, PropertiesAndLinks) {
    const auto data = parseUdevData("S:mapper/vg-lv\nS:disk/by-id/dm-name-vg-lv\nW:3\nI:123\nE:DM_NAME=vg-lv\n"
                                    "E:EMPTY=\nE:TWO=a=b\nE:=x\nE:none\nG:systemd\nE:LAST=no newline");
    ASSERT_EQ(data.links.size(), 2u);
    EXPECT_EQ(data.links[0], "mapper/vg-lv");
    EXPECT_EQ(data["DM_NAME"], "vg-lv");
    EXPECT_EQ(data["EMPTY"], "");
    EXPECT_EQ(data["TWO"], "a=b");
    EXPECT_EQ(data["LAST"], "no newline");
    EXPECT_EQ(data["UNKNOWN"], "");
    EXPECT_EQ(data.properties.size(), 4u);
    EXPECT_TRUE(parseUdevData("").properties.empty());
}

TEST(ParseMountInfo, OneMount) {
    MountInfo mount;
    ASSERT_TRUE(
        parseMountInfoLine("36 35 98:0 /mnt1 /mnt2 rw,noatime master:1 shared:7 - ext3 /dev/root rw,errors=x", mount));
    EXPECT_EQ(mount.id, 36u);
    EXPECT_EQ(mount.parent, 35u);
    EXPECT_EQ(mount.major, 98u);
    EXPECT_EQ(mount.minor, 0u);
    EXPECT_EQ(mount.root, "/mnt1");
    EXPECT_EQ(mount.point, "/mnt2");
    EXPECT_EQ(mount.options, "rw,noatime");
    EXPECT_EQ(mount.type, "ext3");
    EXPECT_EQ(mount.source, "/dev/root");
    EXPECT_EQ(mount.superOptions, "rw,errors=x");
}

TEST(ParseMountInfo, EscapesAndAnEmptySource) {
    MountInfo mount;
    ASSERT_TRUE(parseMountInfoLine(R"(1 2 0:3 / /a\040b\011\012\134x\9\04 rw - tmpfs  rw,size=1k)", mount));
    EXPECT_EQ(mount.point, "/a b\t\n\\x\\9\\04");
    EXPECT_EQ(mount.source, "");
    EXPECT_EQ(mount.superOptions, "rw,size=1k");
}

TEST(ParseMountInfo, Damaged) {
    MountInfo mount;
    for (const auto* line :
         {"", "36", "36 35 98:0 /a /b rw", "36 35 98:0 /a /b rw -", "36 35 98:0 /a /b rw - ext4",
          "36 35 980 /a /b rw - ext4 x rw", "x 35 98:0 /a /b rw - ext4 x rw", "36 35 98:0x /a /b rw - ext4 x rw",
          "36 35 -1:0 /a /b rw - ext4 x rw", "36 35 4294967296:0 /a /b rw - ext4 x rw"})
        EXPECT_FALSE(parseMountInfoLine(line, mount)) << line;
    EXPECT_EQ(parseMountInfo("rubbish\n1 0 8:1 / / rw - ext4 /dev/sda1 rw\n\n2 1 8:2 / /b rw - xfs /dev/sdb rw").size(),
              2u);
}

TEST(ParseMountInfo, Options) {
    constexpr auto Options = R"(rw,lowerdir=/a:/b,upperdir=/c\,d\\e,workdir=,upper=x)"sv;
    EXPECT_EQ(mountOption(Options, "upperdir"), R"(/c,d\e)");
    EXPECT_EQ(mountOption(Options, "lowerdir"), "/a:/b");
    EXPECT_EQ(mountOption(Options, "workdir"), "");
    EXPECT_EQ(mountOption(Options, "rw"), "");
    EXPECT_EQ(mountOption(Options, "none"), "");
    EXPECT_EQ(mountOption(R"(a=\)", "a"), "\\");
}

TEST(ParseSwaps, AreasAndFiles) {
    const auto areas = parseSwaps("Filename\t\t\t\tType\t\tSize\t\tUsed\t\tPriority\n"
                                  "/dev/dm-1                               partition\t32764\t\t12\t\t5\n"
                                  "/a\\040b\\040(deleted)   file\t\t20464\t\t0\t\t-2\n"
                                  "/short file 1 2\n\nrubbish\n");
    ASSERT_EQ(areas.size(), 2u);
    EXPECT_EQ(areas[0].path, "/dev/dm-1");
    EXPECT_FALSE(areas[0].file);
    EXPECT_EQ(areas[0].size_kib, 32764u);
    EXPECT_EQ(areas[0].used_kib, 12u);
    EXPECT_EQ(areas[0].priority, 5);
    EXPECT_EQ(areas[1].path, "/a b (deleted)");
    EXPECT_TRUE(areas[1].file);
    EXPECT_EQ(areas[1].priority, -2);
}

TEST(ParseUevent, AFailedPath) {
    const auto event = parseUevent("change@/devices/virtual/block/dm-0\0ACTION=change\0DEVPATH=/devices/virtual/block/"
                                   "dm-0\0SUBSYSTEM=block\0DM_ACTION=PATH_FAILED\0DM_PATH=8:16\0DM_NR_VALID_PATHS=1\0"
                                   "DM_NAME=mpatha\0DEVNAME=dm-0\0"sv);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->action, "change");
    EXPECT_EQ(event->subsystem, "block");
    EXPECT_EQ(event->devname, "dm-0");
    EXPECT_EQ(event->dmAction, "PATH_FAILED");
    EXPECT_EQ(event->dmPath, "8:16");
    EXPECT_EQ(event->dmName, "mpatha");
    EXPECT_EQ(event->validPaths, 1u);
}

TEST(ParseUevent, NoEventOfTheKernel) {
    EXPECT_FALSE(parseUevent(""));
    EXPECT_FALSE(parseUevent("libudev\0\xfe\xed\xca\xfe"sv));
    EXPECT_FALSE(parseUevent("@/devices\0ACTION=add\0"sv));
    EXPECT_FALSE(parseUevent("add@/devices\0SUBSYSTEM=block\0"sv));
    const auto odd = parseUevent("add@/x\0ACTION=add\0DM_NR_VALID_PATHS=many\0=\0\0SUBSYSTEM"sv);
    ASSERT_TRUE(odd);
    EXPECT_EQ(odd->validPaths, std::nullopt);
    EXPECT_EQ(odd->subsystem, "");
}

TEST(ParseMultipathd, Maps) {
    const auto maps = parseMultipathMaps(R"({"major_version":0,"maps":[{"name":"mpatha","sysfs":"dm-0","dm_st":"active",
        "path_groups":[{"dm_st":"active","group":1,"paths":[{"dev":"sda","dm_st":"failed","dev_st":"running",
        "chk_st":"faulty"},{"dm_st":"active"}]},{"dm_st":"enabled","group":2,"paths":[{"dev":"sdb"}]}]},{"name":"x"}]})");
    ASSERT_TRUE(maps);
    ASSERT_EQ(maps->size(), 1u);
    EXPECT_EQ((*maps)[0].name, "mpatha");
    EXPECT_EQ((*maps)[0].device, "dm-0");
    ASSERT_EQ((*maps)[0].paths.size(), 2u);
    EXPECT_EQ((*maps)[0].paths[0].dm, "failed");
    EXPECT_EQ((*maps)[0].paths[0].checker, "faulty");
    EXPECT_EQ((*maps)[0].paths[1].device, "sdb");
    EXPECT_EQ((*maps)[0].paths[1].group, 2u);
    EXPECT_EQ((*maps)[0].paths[1].groupState, "enabled");
    for (const auto* text : {"", "fail\n", "timeout\n", "{}", "[]", "{\"maps\":{}}"})
        EXPECT_FALSE(parseMultipathMaps(text)) << text;
    EXPECT_TRUE(parseMultipathMaps(R"({"maps":[]})")->empty());
    EXPECT_TRUE(parseMultipathMaps(R"({"maps":[1,"x",null,{"sysfs":5}]})"));
}

TEST(ParseVolumeGroups, Sizes) {
    const auto groups = parseVolumeGroups(R"({"report":[{"vg":[{"vg_name":"vg00","vg_attr":"wz-pn-",
        "vg_size":"1073741824B","vg_free":"0B"},{"vg_name":"odd","vg_size":"1,5g"},{"vg_size":"1B"}]}]})");
    ASSERT_TRUE(groups);
    ASSERT_EQ(groups->size(), 2u);
    EXPECT_EQ((*groups)[0].size_bytes, 1073741824u);
    EXPECT_EQ((*groups)[0].free_bytes, 0u);
    EXPECT_TRUE((*groups)[0].partial());
    EXPECT_EQ((*groups)[1].size_bytes, std::nullopt);
    EXPECT_FALSE((*groups)[1].partial());
    EXPECT_FALSE(parseVolumeGroups("{\"report\":1}"));
}

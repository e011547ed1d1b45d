// What is read again, and when: seen by the files that a made-up machine is asked for.
#include "model/volumes.h"
#include "sample/volumewatch.h"
#include "tests/unit/made.h"
#include "view/areas.h"
#include "view/volumes.h"

namespace {
// The machine, and the paths below /sys that a sample opened.
struct Machine {
    Made made;
    Helper helper;
    VolumeSampler sampler{Root(), helper};
    size_t opened = 0, mounts = 0;

    explicit Machine(const std::string& lines) : made(lines) {
        made.world.watch = [this](const std::string& path) {
            if (path.starts_with("/sys/")) opened++;
            if (path == "/proc/self/mountinfo") mounts++;
        };
    }
    bool sample() {
        opened = mounts = 0;
        const bool changed = sampler.sample();
        helper.await(INT64_MAX);
        return changed;
    }
    bool step() {
        made.step();
        return sample();
    }
};
} // namespace

static const std::string Disk = "text /sys/block/sda/dev \"8:0\\n\"\ntext /sys/block/sda/size \"8\\n\"\n"
                                "text /proc/self/mountinfo \"1 0 8:0 / / rw - ext4 /dev/sda rw\\n\"\n"
                                "text /proc/swaps \"\"\ntext /proc/partitions \"\"\n";

TEST(VolumeSampler, ReadsNothingWhileNothingHappens) {
    Machine watched(Disk + "step 1\nstep 2\nuevent add /devices/x SUBSYSTEM=net\n");
    EXPECT_TRUE(watched.sample());
    EXPECT_GT(watched.opened, 0u);
    EXPECT_EQ(watched.sampler.now.devices.size(), 1u);
    EXPECT_EQ(watched.sampler.now.mounts.size(), 1u);
    for (int i = 0; i < 2; i++) {
        EXPECT_FALSE(watched.step());
        EXPECT_EQ(watched.opened, 0u);
    }
}

TEST(VolumeSampler, ADiskThatComes) {
    Machine watched(Disk + "step 1\ntext /sys/block/sdb/dev \"8:16\\n\"\ntext /sys/block/sdb/size \"8\\n\"\n"
                           "uevent add /devices/sdb SUBSYSTEM=block DEVNAME=sdb\nstep 2\n");
    watched.sample();
    EXPECT_TRUE(watched.step());
    EXPECT_EQ(watched.sampler.now.devices.size(), 2u);
    EXPECT_FALSE(watched.step());
    EXPECT_EQ(watched.opened, 0u);
}

TEST(VolumeSampler, AMountThatGoes) {
    Machine watched(Disk + "step 1\ntext /proc/self/mountinfo \"\"\nstep 2\n");
    watched.sample();
    EXPECT_TRUE(watched.step());
    EXPECT_TRUE(watched.sampler.now.mounts.empty());
    EXPECT_EQ(watched.opened, 0u); // the devices stay as they are
    EXPECT_FALSE(watched.step());
}

TEST(VolumeSampler, LostNewsAndNoneAtAll) {
    Machine watched(Disk + "step 1\ntext /sys/block/sdb/size \"8\\n\"\noverrun uevent\n");
    watched.sample();
    EXPECT_TRUE(watched.step());
    EXPECT_EQ(watched.sampler.now.devices.size(), 2u);

    Machine deaf(Disk + "nonetlink uevent EPERM\nstep 1\nstep 2\ntext /sys/block/sdb/size \"8\\n\"\n"
                        "text /proc/partitions \" 8 16 4 sdb\\n\"\n");
    deaf.sample();
    EXPECT_FALSE(deaf.step());
    EXPECT_TRUE(deaf.step());
    EXPECT_EQ(deaf.sampler.now.devices.size(), 2u);
}

// The kernel has no uevent for that.
TEST(VolumeSampler, AnArrayThatLosesAMemberAndIsRepaired) {
    const auto array = [](const char* degraded, const char* action, const char* completed) {
        return std::string("text /sys/block/md0/md/degraded \"") + degraded +
               "\"\ntext /sys/block/md0/md/sync_action \"" + action + "\"\ntext /sys/block/md0/md/sync_completed \"" +
               completed + "\"\n";
    };
    Machine watched(Disk +
                    "text /proc/mdstat \"[UU]\"\ntext /sys/block/md0/dev \"9:0\"\n"
                    "text /sys/block/md0/size \"8\"\ntext /sys/block/md0/md/level \"raid1\"\n"
                    "text /sys/block/md0/md/raid_disks \"2\"\ntext /sys/block/md0/md/dev-sda/state \"in_sync\"\n" +
                    array("0", "idle", "none") + "step 1\nstep 2\ntext /proc/mdstat \"[U_]\"\n" +
                    array("1", "recover", "1 / 8") + "step 3\n" + array("1", "recover", "4 / 8"));
    watched.sample();
    const auto& devices = watched.sampler.now.devices;
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_EQ(devices[0].raidDegraded, 0U);
    EXPECT_FALSE(watched.step());
    EXPECT_TRUE(watched.step());
    EXPECT_EQ(devices[0].raidDegraded, 1U);
    EXPECT_EQ(devices[0].raidCompleted, "1 / 8");
    EXPECT_EQ(devices[0].members.size(), 1U);
    watched.made.step();
    int changes = 0;
    for (int i = 0; i < 64; i++) changes += watched.sample();
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(devices[0].raidCompleted, "4 / 8");
}

static const std::string Map = "text /sys/block/dm-0/dev \"253:0\\n\"\ntext /sys/block/dm-0/size \"8\\n\"\ntext "
                               "/sys/block/dm-0/dm/name \"mpatha\\n\"\n"
                               "text /sys/block/dm-0/dm/uuid \"mpath-1\\n\"\n";
static std::string tool(const std::string& state) {
    return "tool multipathd show maps json <<END\n"
           R"({"maps":[{"name":"mpatha","sysfs":"dm-0","path_groups":[{"paths":[{"dev":"sda","dm_st":")" +
           state + "\"}]}]}]}\nEND\n";
}

TEST(VolumeSampler, MultipathdIsAskedAfterTheFirstSampleAndWhenAPathChanges) {
    Machine watched(Disk + Map + tool("active") +
                    "step 1\nstep 2\nstep 3\nuevent change /devices/virtual/block/dm-0 SUBSYSTEM=block "
                    "DM_ACTION=PATH_FAILED DM_PATH=8:0 DEVNAME=dm-0\n" +
                    tool("failed") + "step 4\nstep 5\n");
    const auto asked = [&] {
        size_t count = 0;
        for (size_t at = 0; (at = watched.made.log().find("tool multipathd", at)) != std::string::npos; at++) count++;
        return count;
    };
    watched.sample();
    EXPECT_EQ(asked(), 0u);
    watched.step();
    EXPECT_EQ(asked(), 1u);
    EXPECT_TRUE(watched.step());
    ASSERT_EQ(watched.sampler.now.maps.size(), 1u);
    EXPECT_EQ(watched.sampler.now.maps[0].paths.at(0).dm, "active");
    EXPECT_TRUE(watched.step()); // at once, by the uevent; the devices are not read again for it
    EXPECT_EQ(watched.sampler.now.maps[0].paths.at(0).dm, "failed");
    EXPECT_EQ(watched.opened, 0u);
    EXPECT_EQ(asked(), 2u);
    watched.step();
    EXPECT_FALSE(watched.step());
    EXPECT_EQ(asked(), 2u);
}

TEST(VolumeSampler, AMultipathdThatHangsOrFailsIsDoneWithout) {
    Machine hanging(Disk + Map + tool("active") + "hang multipathd show maps json\nstep 1\nstep 2\nstep 3\nstep 4\n");
    hanging.sample();
    for (int i = 0; i < 4; i++) hanging.step();
    EXPECT_TRUE(hanging.sampler.now.maps.empty());

    Machine failing(Disk + Map + "tool multipathd show maps json <<END\nfail\nEND\nstep 1\nstep 2\n");
    failing.sample();
    for (int i = 0; i < 2; i++) failing.step();
    EXPECT_TRUE(failing.sampler.now.maps.empty());
}

// The sizes of groups are asked for when there is a volume, and again when devices have changed.
TEST(VolumeSampler, VolumeGroupsAreAskedFor) {
    const std::string vgs = "vgs --reportformat json --units b -o vg_name,vg_size,vg_free,vg_attr";
    const std::string report = R"({"report":[{"vg":[{"vg_name":"data","vg_size":"4194304B","vg_free":"1048576B",)"
                               R"("vg_attr":"wz-pn-"}]}]})";
    Machine watched(Disk +
                    "text /sys/block/dm-0/dev \"253:0\\n\"\ntext /sys/block/dm-0/size \"8\\n\"\n"
                    "text /sys/block/dm-0/dm/name \"data-lv\\n\"\ntext /sys/block/dm-0/dm/uuid \"LVM-1\\n\"\n"
                    "tool " +
                    vgs + " <<END\n" + report +
                    "\nEND\nstep 1\nstep 2\nstep 3\ngone /sys/block/dm-0\n"
                    "uevent remove /devices/dm-0 SUBSYSTEM=block DEVNAME=dm-0\n");
    watched.sample();
    EXPECT_EQ(watched.made.log().find("tool vgs"), std::string::npos);
    watched.step();
    EXPECT_NE(watched.made.log().find("tool " + vgs + "\n"), std::string::npos) << watched.made.log();
    EXPECT_TRUE(watched.step());
    ASSERT_EQ(watched.sampler.now.groups.size(), 1U);
    EXPECT_EQ(watched.sampler.now.groups[0].free_bytes, 1048576U);
    Interval interval;
    interval.volumeGroups.rows = volumeMap(watched.sampler.now).groups;
    Page page(0, false);
    showVolumes(interval, {LogHead{}, ViewRow{}}, page);
    EXPECT_EQ(page.text(),
              "GROUP                    size   free state\ndata                     4.0M   1.0M partial\n");
    watched.step();
    EXPECT_TRUE(watched.sampler.now.groups.empty());
}

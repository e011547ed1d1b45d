// The map of volumes on machines that none was recorded of: containers, binds, damaged files, hostile names.
#include "tests/unit/recordedvolumes.h"

TEST(Volumes, OnlyPartsOfAFilesystemAreMounted) { // as in a container
    const Made made("text /sys/block/vdb/dev \"254:16\\n\"\ntext /sys/block/vdb/size \"8\\n\"\n"
                    "file /proc/self/mountinfo <<END\n"
                    "1 0 0:50 / / rw - overlay overlay rw,lowerdir=/l,upperdir=/var/lib/c/upper,workdir=/w\n"
                    "2 1 254:16 /c/hosts /etc/hosts rw - ext4 /dev/vdb rw\n"
                    "3 1 254:16 /c/hostname /etc/hostname rw - ext4 /dev/vdb rw\n"
                    "4 1 0:51 / /proc rw - proc proc rw\nEND\n");
    const auto map = mapNow();
    ASSERT_EQ(map.mounts.size(), 1u);
    EXPECT_EQ(map.mounts[0].point, "/etc/hosts");
    EXPECT_EQ(map.mounts[0].root, "/c/hosts");
}

TEST(Volumes, TheWholeFilesystemStandsBeforeABindOfIt) {
    const Made made("text /sys/block/vdb/dev \"254:16\\n\"\ntext /sys/block/vdb/size \"8\\n\"\n"
                    "file /proc/self/mountinfo <<END\n"
                    "1 0 254:16 /a /a rw - ext4 /dev/vdb rw\n2 0 254:16 / /srv rw - ext4 /dev/vdb rw\n"
                    "3 0 254:16 / /again rw - ext4 /dev/vdb rw\n4 0 254:16 /b /b rw - ext4 /dev/vdb rw\nEND\n");
    const auto map = mapNow();
    ASSERT_EQ(map.mounts.size(), 1u);
    EXPECT_EQ(map.mounts[0].point, "/srv");
    EXPECT_EQ(map.mounts[0].root, "");
}

TEST(Volumes, NothingThere) {
    const Made made("");
    const auto map = mapNow();
    EXPECT_TRUE(map.volumes.empty() && map.holds.empty() && map.mounts.empty());
}

TEST(Volumes, DamagedFiles) {
    const Made made(
        "text /sys/block/sda/dev \"x\"\ntext /sys/block/sda/size \"-1\"\n"
        "text /sys/block/sdb/size \"99999999999999999999\"\ndir /sys/block/sdc\nfail open /sys/block/sdb EACCES\n"
        "text /sys/block/md0/size \"8\"\ntext /sys/block/md0/dev \"9:0\"\ntext /sys/block/md0/md/level \"raid5\"\n"
        "text /sys/block/md0/md/degraded \"many\"\ntext /sys/block/md0/md/sync_action \"recover\\n\"\n"
        "text /sys/block/md0/md/sync_completed \"9 / 0\\n\"\nlink /sys/block/md0/slaves/md0 x\n"
        "link /sys/block/md0/slaves/gone x\nfail read /sys/block/sdc/size EIO\n");
    const auto map = mapNow();
    ASSERT_EQ(map.volumes.size(), 1u);
    EXPECT_EQ(map.volumes[0].state, "recover");
    const Made syncing("text /sys/block/md0/size \"8\"\ntext /sys/block/md0/dev \"9:0\"\n"
                       "text /sys/block/md0/md/level \"raid1\"\ntext /sys/block/md0/md/sync_action \"resync\\n\"\n"
                       "text /sys/block/md0/md/array_state \"inactive\\n\"\ntext /sys/block/md0/md/degraded \"1\"\n"
                       "text /sys/block/md0/md/raid_disks \"2\"\ntext /sys/block/md0/md/sync_completed \"1 / 8\\n\"\n");
    EXPECT_EQ(mapNow().volumes.at(0).state, "inactive, degraded 1 of 2, resync 12.5%");
}

TEST(Volumes, HostileNames) {
    const Made made(R"(text /sys/block/dm-0/dev "253:0"
text /sys/block/dm-0/size "8"
text /sys/block/dm-0/dm/name "a\nb,c\"d\\"
text /sys/block/dm-0/dm/uuid "LVM-"
text /sys/block/cciss!c0d0/dev "104:0"
text /sys/block/cciss!c0d0/size "8"
text /sys/block/cciss!c0d0/cciss!c0d0p1/dev "104:1"
text /sys/block/cciss!c0d0/cciss!c0d0p1/size "4"
text /sys/block/cciss!c0d0/cciss!c0d0p1/partition "1"
file /proc/swaps <<END
/dev/cciss/c0d0p1 partition 4 0 -2
END
)");
    const auto map = mapNow();
    EXPECT_EQ(rowOf(map, "dm-0")->label, "a\nb,c\"d\\/");
    ASSERT_EQ(map.mounts.size(), 1u);
    EXPECT_EQ(map.mounts[0].dev, "104:1");
    ASSERT_EQ(map.holds.size(), 1u);
    EXPECT_EQ(map.holds[0].held, "104:0");
}

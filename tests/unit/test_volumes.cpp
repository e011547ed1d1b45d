// The map of volumes, made from trees that were recorded on real kernels and held against what lsblk and lvs said on
// the same machine at the same moment.
#include "model/volumes.h"
#include "parse/json.h"
#include "sample/volumes.h"
#include "tests/unit/made.h"

#include <map>
#include <set>

using namespace std::string_view_literals;

static const std::string Recorded = std::filesystem::current_path() / "tests/recorded/";

static std::string textOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// A recorded machine; `moments` as many of its later ones as are wanted.
static std::string recorded(const std::string& name, int moments = 0) {
    std::string lines = "include " + Recorded + name + "/volumes\n";
    for (int i = 1; i <= moments; i++)
        lines += "step " + std::to_string(i) + "\ninclude " + Recorded + name + "/volumes." + std::to_string(i) + "\n";
    return lines;
}

static VolumeMap mapNow(const std::string& maps = "") {
    VolumeSample sample;
    readVolumes({}, sample);
    if (!maps.empty()) sample.maps = parseMultipathMaps(textOf(Recorded + maps)).value();
    return volumeMap(sample);
}

namespace {
struct Listed { // of lsblk
    std::string type;
    uint64_t size = 0;
    std::set<std::string> points;
};
struct Listing {
    std::map<std::string, Listed> devices;
    std::map<std::string, std::set<std::string>> above; // everything above a device
};
} // namespace

static void addListed(const Json& device, std::vector<std::string> below, Listing& listing) {
    const std::string dev = device["maj:min"].text;
    auto& listed = listing.devices[dev];
    listed.type = device["type"].text;
    listed.size = device["size"].whole().value_or(0);
    for (auto& point : device["mountpoints"].items)
        if (point.kind == Json::String) listed.points.insert(point.text);
    for (auto& other : below) listing.above[other].insert(dev);
    below.push_back(dev);
    for (auto& child : device["children"].items) addListed(child, below, listing);
}

static Listing listing(const std::string& file) {
    const auto json = parseJson(textOf(Recorded + file));
    Listing all;
    if (json)
        for (auto& device : (*json)["blockdevices"].items) addListed(device, {}, all);
    EXPECT_FALSE(all.devices.empty()) << file;
    return all;
}

static void addAbove(const VolumeMap& map, const std::string& dev, std::set<std::string>& above) {
    for (auto& edge : map.holds)
        if (edge.held == dev && above.insert(edge.holder).second) addAbove(map, edge.holder, above);
}

static const VolumeRow* rowOf(const VolumeMap& map, std::string_view name) {
    for (auto& row : map.volumes)
        if (row.name == name || row.label == name) return &row;
    return nullptr;
}

// Everything that lsblk knows is in the map: devices but hidden layers, sizes, what stands on what, where it is
// mounted.
static void expectLikeLsblk(const VolumeMap& map, const Listing& listed, const std::set<std::string>& pools = {}) {
    std::set<std::string> shown;
    for (auto& row : map.volumes) shown.insert(row.dev);
    for (auto& row : map.volumes) {
        const auto known = listed.devices.find(row.dev);
        if (row.kind == "btrfs" || row.kind == "path") continue; // lsblk does not list these
        ASSERT_NE(known, listed.devices.end()) << row.name;
        EXPECT_EQ(row.size_bytes, known->second.size) << row.name;
        const std::string type = row.kind == "thinpool" ? "lvm" : row.kind == "bcache" ? "disk" : row.kind;
        EXPECT_EQ(type, known->second.type) << row.name;
        std::set<std::string> above, expected;
        addAbove(map, row.dev, above);
        if (const auto found = listed.above.find(row.dev); found != listed.above.end())
            for (auto& dev : found->second)
                if (shown.count(dev)) expected.insert(dev);
        std::erase_if(above, [&](auto& dev) { return !listed.devices.count(dev); });
        if (pools.count(row.label)) continue;
        EXPECT_EQ(above, expected) << row.name << " " << row.label;
    }
    for (auto& [dev, device] : listed.devices) {
        bool mounted = false;
        for (auto& mount : map.mounts) mounted |= mount.dev == dev;
        const bool ofBtrfs = std::any_of(map.holds.begin(), map.holds.end(), [&, &of = dev](auto& edge) {
            return edge.held == of && edge.holder.size() == 36;
        });
        EXPECT_EQ(mounted, !device.points.empty() && !ofBtrfs) << dev;
    }
    for (auto& mount : map.mounts) {
        const auto known = listed.devices.find(mount.dev);
        if (known == listed.devices.end() || mount.type == "overlay" || (mount.type == "swap" && mount.point[0] == '/'))
            continue;
        EXPECT_TRUE(known->second.points.count(mount.point == "[swap]" ? "[SWAP]" : mount.point)) << mount.point;
    }
}

// The layers that lvs puts in brackets are the hidden ones.
static void expectLikeLvs(const VolumeMap& map, const std::string& file) {
    const auto json = parseJson(textOf(Recorded + file));
    ASSERT_TRUE(json);
    std::set<std::string> expected, shown;
    for (auto& lv : (*json)["report"].items[0]["lv"].items)
        if (lv["lv_name"].text[0] != '[' && lv["lv_attr"].text[4] == 'a')
            expected.insert(lv["vg_name"].text + "/" + lv["lv_name"].text);
    for (auto& row : map.volumes)
        if (row.kind == "lvm" || row.kind == "thinpool") shown.insert(row.label);
    EXPECT_EQ(shown, expected);
}

TEST(Volumes, LvmAsLsblkHasIt) {
    Made made(recorded("lvm", 3));
    for (int moment = 0;; moment++) {
        SCOPED_TRACE(moment);
        const std::string suffix = moment ? "." + std::to_string(moment) : "";
        const auto map = mapNow();
        expectLikeLsblk(map, listing("lvm/lsblk" + suffix + ".json"));
        expectLikeLvs(map, "lvm/lvs" + suffix + ".json");
        EXPECT_EQ(rowOf(map, "vg00/new") != nullptr, moment == 1 || moment == 2);
        if (moment == 3) break;
        made.step();
    }
}

TEST(Volumes, HiddenLayersOfLvmAreFolded) {
    const Made made(recorded("lvm-rich"));
    const auto map = mapNow();
    expectLikeLvs(map, "lvm-rich/lvs.json");
    // lsblk knows thin volumes and snapshots only as standing on layers: what they belong to stands below them here.
    expectLikeLsblk(map, listing("lvm-rich/lsblk.json"), {"vg-thin/pool0", "vg-thin/orig"});
    const auto holds = [&](const char* holder, const char* held) {
        const auto *above = rowOf(map, holder), *below = rowOf(map, held);
        return above && below && std::any_of(map.holds.begin(), map.holds.end(), [&](auto& edge) {
                   return edge.holder == above->dev && edge.held == below->dev;
               });
    };
    EXPECT_TRUE(holds("vg-thin/thin1", "vg-thin/pool0"));
    EXPECT_TRUE(holds("vg-thin/thin1-snap", "vg-thin/pool0"));
    EXPECT_FALSE(holds("vg-thin/pool0", "vg-thin/pool0"));
    EXPECT_TRUE(holds("vg-thin/orig-snap", "vg-thin/orig"));
    EXPECT_FALSE(holds("vg-thin/orig", "vg-thin/orig"));
    EXPECT_EQ(rowOf(map, "vg-thin/pool0")->kind, "thinpool");
}

TEST(Volumes, Multipath) {
    for (const std::string name : {"mp-lvm", "mp-failover", "mp-multibus"}) {
        SCOPED_TRACE(name);
        const Made made(recorded(name));
        const auto map = mapNow(name + "/multipathd-maps.json");
        expectLikeLsblk(map, listing(name + "/lsblk.json"));
    }
}

TEST(Volumes, PathStatesAreMultipathdsAndTheDevicesOwnBesides) {
    Made made(recorded("mp-failover", 4));
    const auto path = [](const VolumeMap& map, const char* name) {
        const auto *mpatha = rowOf(map, "mpatha"), *disk = rowOf(map, name);
        for (auto& edge : map.holds)
            if (edge.holder == mpatha->dev && edge.held == disk->dev) return edge.state + " " + edge.device_state;
        return std::string("no path");
    };
    auto map = mapNow("mp-failover/multipathd-maps.json");
    EXPECT_EQ(path(map, "sda"), "active running");
    EXPECT_EQ(path(map, "sdb"), "no path");
    EXPECT_EQ(rowOf(map, "mpatha")->state, "");
    EXPECT_EQ(rowOf(map, "mpathb")->state, "1 of 2 paths failed");
    EXPECT_EQ(rowOf(map, "mpathc")->state, "2 of 2 paths failed");
    EXPECT_EQ(rowOf(map, "sdb")->state, "offline");
    made.step(); // fail path sda: the device itself still runs
    map = mapNow("mp-failover/multipathd-maps.1.json");
    EXPECT_EQ(path(map, "sda"), "failed running");
    EXPECT_EQ(rowOf(map, "mpatha")->state, "1 of 2 paths failed");
    made.step();
    map = mapNow("mp-failover/multipathd-maps.2.json");
    EXPECT_EQ(path(map, "sda"), "active running");
    made.step();
    map = mapNow("mp-failover/multipathd-maps.3.json");
    EXPECT_EQ(path(map, "sdf"), "failed offline");
    EXPECT_EQ(path(mapNow(), "sdf"), " offline"); // without multipathd its state is not known
}

// The uevents of a recording, one a line, with \0 and \\ in place of NUL and backslash.
static std::vector<std::string> uevents(const std::string& file) {
    std::istringstream lines(textOf(Recorded + file));
    std::vector<std::string> messages;
    for (std::string line; std::getline(lines, line);) {
        auto& message = messages.emplace_back();
        for (size_t i = 0; i < line.size(); i++) {
            const bool escape = line[i] == '\\' && i + 1 < line.size();
            message += escape ? (line[++i] == '0' ? '\0' : line[i]) : line[i];
        }
    }
    EXPECT_FALSE(messages.empty()) << file;
    return messages;
}

// What uevents make of the path states is what multipathd says afterwards.
TEST(Volumes, UeventsKeepPathStatesCurrent) {
    for (const std::string name : {"mp-failover", "mp-lvm", "mp-multibus"}) {
        const Made made(recorded(name));
        VolumeSample sample;
        readVolumes({}, sample);
        EXPECT_TRUE(hasMultipath(sample));
        const auto mapsAt = [&](const std::string& moment) {
            return parseMultipathMaps(textOf(Recorded + name + "/multipathd-maps" + moment + ".json")).value();
        };
        sample.maps = mapsAt("");
        size_t changes = 0;
        for (const auto* moment : {".1", ".2", ".3"}) {
            SCOPED_TRACE(name + moment);
            const auto before = sample.maps;
            for (auto& message : uevents(name + "/uevents" + moment)) EXPECT_FALSE(takeUevent(sample, message));
            const auto expected = mapsAt(moment);
            for (size_t i = 0; i < expected.size(); i++)
                for (size_t k = 0; k < expected[i].paths.size(); k++) {
                    EXPECT_EQ(sample.maps[i].paths[k].dm, expected[i].paths[k].dm) << expected[i].paths[k].device;
                    changes += before[i].paths[k].dm != expected[i].paths[k].dm;
                }
        }
        EXPECT_EQ(changes, 3u);
    }
}

TEST(Volumes, OtherUeventsAskForAnotherLook) {
    VolumeSample sample;
    for (const auto* file : {"stack/uevents.2", "lvm/uevents.1", "lvm/uevents.3"})
        for (auto& message : uevents(file)) EXPECT_TRUE(takeUevent(sample, message));
    EXPECT_FALSE(takeUevent(sample, "add@/x\0ACTION=add\0SUBSYSTEM=net\0"sv));
    EXPECT_FALSE(takeUevent(sample, "rubbish"));
    const auto strange = "change@/x\0ACTION=change\0SUBSYSTEM=block\0DM_ACTION=PATH_FAILED\0DM_PATH=x\0"sv;
    EXPECT_FALSE(takeUevent(sample, strange)); // a map that is not known
}

TEST(Volumes, NativeNvmeMultipath) {
    Made made(recorded("nvme", 1));
    auto map = mapNow();
    expectLikeLsblk(map, listing("nvme/lsblk.json"));
    const auto pathsOf = [&](const char* name) {
        std::string paths;
        for (auto& edge : map.holds)
            if (edge.holder == rowOf(map, name)->dev) paths += edge.held + " " + edge.device_state + ", ";
        return paths;
    };
    EXPECT_EQ(pathsOf("nvme1n1"), "nvme1c0n1 live, nvme1c1n1 live, ");
    EXPECT_EQ(pathsOf("nvme1n2"), "nvme1c0n2 live, nvme1c1n2 live, ");
    EXPECT_EQ(rowOf(map, "nvme1c0n1")->kind, "path");
    made.step(); // a controller is gone
    map = mapNow();
    EXPECT_EQ(pathsOf("nvme1n1"), "nvme1c0n1 live, ");
}

TEST(Volumes, EveryKindOnOneMachine) {
    Made made(recorded("stack", 2));
    auto map = mapNow();
    expectLikeLsblk(map, listing("stack/lsblk.json"));
    expectLikeLvs(map, "stack/lvs.json");
    const auto row = [&](const char* name) {
        const auto* found = rowOf(map, name);
        return found ? found->kind + " " + found->label + " " + found->fs + " " + found->state : "none";
    };
    EXPECT_EQ(row("safe"), "raid1 safe crypto_LUKS ");
    EXPECT_EQ(row("bulk"), "raid5 bulk ext4 degraded 1 of 3");
    EXPECT_EQ(row("safe_crypt"), "crypt safe_crypt LVM2_member ");
    EXPECT_EQ(row("vg-safe/data"), "lvm vg-safe/data ext4 ");
    EXPECT_EQ(row("loop0"), "loop /srv/plain/disk image.img  ");
    EXPECT_EQ(row("loop0p1"), "part  ext4 ");
    EXPECT_EQ(row("bcache0"), "bcache  ext4 ");
    EXPECT_EQ(row("we\\x20ird"), "dm we\\x20ird  ");
    EXPECT_EQ(row("pool"), "btrfs pool btrfs ");
    EXPECT_EQ(rowOf(map, "pool")->size_bytes, 2u * 256 << 20);
    std::map<std::string, int> states;
    for (auto& edge : map.holds) states[edge.state]++;
    EXPECT_EQ(states["in_sync"], 4);
    EXPECT_EQ(states["faulty"], 1);
    EXPECT_EQ(states["cache"], 1);
    const auto mountsOf = [&](const char* name) {
        std::string mounts;
        for (auto& mount : map.mounts)
            if (mount.dev == rowOf(map, name)->dev)
                mounts += mount.type + " " + mount.point + (mount.root.empty() ? "" : " (" + mount.root + ")") + "\n";
        return mounts;
    };
    EXPECT_EQ(mountsOf("pool"), "btrfs /srv/pool\nbtrfs /srv/www (/www)\n"); // /var/www is bound from there
    EXPECT_EQ(mountsOf("vg-safe/data"), "ext4 /srv/data\noverlay /mnt/merged (/srv/data/upper)\n");
    EXPECT_EQ(mountsOf("vg_sys/swap"), "swap [swap]\n");
    EXPECT_EQ(mountsOf("vg_sys/log--x"), "ext4 /mnt/with space\n");
    made.step();
    made.step(); // the loop device is gone
    map = mapNow();
    expectLikeLsblk(map, listing("stack/lsblk.2.json"));
    EXPECT_EQ(row("loop0"), "none");
}

// What no recorded machine has.

TEST(Volumes, WithoutUdevsDatabase) { // as in a container: the kernel's own names must do
    Made made(recorded("stack") + "gone /run/udev/data\n");
    const auto map = mapNow();
    EXPECT_EQ(rowOf(map, "vg-safe/data")->kind, "lvm");
    EXPECT_EQ(rowOf(map, "vg-safe/data")->fs, "ext4"); // as it is mounted
    EXPECT_EQ(rowOf(map, "md126")->label, "");
    EXPECT_EQ(rowOf(map, "pool")->kind, "btrfs");
    expectLikeLsblk(map, listing("stack/lsblk.json"));
}

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

// The map of volumes, made from trees that were recorded on real kernels and held against what lsblk and lvs said on
// the same machine at the same moment.
#include "parse/json.h"
#include "tests/unit/recordedvolumes.h"

#include <map>
#include <set>

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
    const auto json = parseJson(recordedText(file));
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
    const auto json = parseJson(recordedText(file));
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

TEST(Volumes, WithoutUdevsDatabase) { // as in a container: the kernel's own names must do
    Made made(recorded("stack") + "gone /run/udev/data\n");
    const auto map = mapNow();
    EXPECT_EQ(rowOf(map, "vg-safe/data")->kind, "lvm");
    EXPECT_EQ(rowOf(map, "vg-safe/data")->fs, "ext4"); // as it is mounted
    EXPECT_EQ(rowOf(map, "md126")->label, "");
    EXPECT_EQ(rowOf(map, "pool")->kind, "btrfs");
    expectLikeLsblk(map, listing("stack/lsblk.json"));
}

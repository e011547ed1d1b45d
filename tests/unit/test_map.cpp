#include "classic/collect/disk.h"

#include "tests/unit/made.h"
#include "tests/unit/nomemory.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {
class Map : public testing::Test {
protected:
    std::vector<TDisk> disks;

    void SetUp() override {
        vglist.clear();
        lvlist.clear();
        pvlist.clear();
        pathlist.clear();
        mountlist.clear();
    }
    static void group(std::string_view name) { vglist.emplace_back().name = name; }
    static void physical(std::string_view lastname, std::string_view vgname) {
        auto& pv = pvlist.emplace_back();
        pv.lastname = lastname;
        pv.vgname = vgname;
    }
    static void logical(std::string_view vgname, std::string_view name, int major, int minor, int mount = NoLink) {
        auto& lv = lvlist.emplace_back();
        lv.vgname = vgname;
        lv.name = name;
        lv.major = major;
        lv.minor = minor;
        lv.mount = mount;
    }
    static TMultipath& device(std::string_view name, int pv = NoLink) {
        auto& device = pathlist.emplace_back();
        device.name = name;
        device.pv = pv;
        return device;
    }
    static void member(TMultipath& device, std::string_view name, int pathindex) {
        auto& member = device.disk.emplace_back();
        member.name = name;
        member.pathindex = pathindex;
    }
    static void mount(std::string_view lastfsname, std::string_view fsname, std::string_view dir) {
        auto& mount = mountlist.emplace_back();
        mount.lastfsname = lastfsname;
        mount.fsname = fsname;
        mount.dir = dir;
    }
    const TLabels& labelled(std::string_view name, int major = 8, int minor = 0) {
        disks.resize(1);
        disks[0].name = name;
        disks[0].major = major;
        disks[0].minor = minor;
        labelDisks(disks);
        return disks[0].labels();
    }
};
} // namespace

TEST_F(Map, NothingKnown) {
    const auto& labels = labelled("sda");
    EXPECT_EQ(labels.ext.view(), "");
    EXPECT_EQ(labels.vgname.view(), "");
    EXPECT_EQ(labels.lvname.view(), "");
    EXPECT_EQ(labels.fsname.view(), "");
    EXPECT_EQ(labels.vg, NoLink);
    EXPECT_EQ(labels.lv, NoLink);
    EXPECT_EQ(labels.pv, NoLink);
    EXPECT_EQ(labels.mount, NoLink);
    EXPECT_EQ(labels.path, NoLink);
    EXPECT_EQ(labels.map, mapNumber);
}

TEST_F(Map, DeviceOrMemberWhicheverComesFirst) {
    member(device("dm-0", 7), "sda", 0);
    auto& second = device("dm-1");
    member(second, "dm-0", 3);
    member(second, "sda", 4);
    member(second, "sdb", 5);
    member(second, "sdb", 6);
    member(device("sdb"), "x", -1);
    pvlist.resize(8);
    EXPECT_EQ(labelled("dm-0").ext.view(), "dm-0"); // not the member of a later device
    EXPECT_EQ(labelled("sda").ext.view(), "dm-0 [Path0]");
    EXPECT_EQ(labelled("sdb").ext.view(), "dm-1 [Path5]"); // not the device of that name, which comes later
    EXPECT_EQ(labelled("x").ext.view(), "sdb [Path-1]");
    EXPECT_EQ(labelled("sda").path, 0);
    EXPECT_EQ(labelled("sda").pv, 7);
    EXPECT_EQ(labelled("sdb").pv, NoLink);
}

TEST_F(Map, PhysicalVolumeOfThePathsOrOfTheDisk) {
    physical("sda", "own");
    physical("sdb", "second");
    physical("sdb", "third");
    group("own");
    group("second");
    group("second");
    member(device("dm-0", 1), "sda", 0);
    member(device("dm-1"), "sdb", 0);
    EXPECT_EQ(labelled("sda").vgname.view(), "second"); // the volume of its multipath device has priority over its own
    EXPECT_EQ(labelled("sda").pv, 1);
    EXPECT_EQ(labelled("sda").vg, 1);
    EXPECT_EQ(labelled("sdb").pv, 1); // the device has no volume, so the first one with its own name counts
    EXPECT_EQ(labelled("dm-0").vgname.view(), "second");
    EXPECT_EQ(labelled("dm-1").vgname.view(), "");
}

TEST_F(Map, GroupThatIsNotListed) {
    physical("sda", " ");
    physical("sdb", "gone");
    group("");
    EXPECT_EQ(labelled("sda").vgname.view(), " ");
    EXPECT_EQ(labelled("sda").vg, NoLink);
    EXPECT_EQ(labelled("sdb").vg, NoLink);
    EXPECT_EQ(labelled("sdc").vg, NoLink); // an empty name matches no group
}

TEST_F(Map, LogicalVolumeByNumbers) {
    mount("vg-a", "/dev/mapper/vg-a", "/a");
    mount("dm-1", "/dev/dm-1", "/by-name");
    logical("vg", "a", 253, 0, 0);
    logical("vg", "b", 253, 1);
    logical("vg", "twin", 253, 1, 0);
    EXPECT_EQ(labelled("dm-0", 253, 0).lvname.view(), "vg/a");
    EXPECT_EQ(labelled("dm-0", 253, 0).fsname.view(), "/a");
    EXPECT_EQ(labelled("dm-0", 253, 0).mount, 0);
    // A volume without a mount does not take the mount of its kernel name.
    EXPECT_EQ(labelled("dm-1", 253, 1).lvname.view(), "vg/b");
    EXPECT_EQ(labelled("dm-1", 253, 1).fsname.view(), "");
    EXPECT_EQ(labelled("dm-1", 253, 1).mount, NoLink);
    EXPECT_EQ(labelled("dm-1", 254, 1).lvname.view(), "/dev/dm-1");
    EXPECT_EQ(labelled("dm-1", 254, 1).fsname.view(), "/by-name");
    EXPECT_EQ(labelled("dm-1", 254, 1).lv, NoLink);
}

TEST_F(Map, InactiveVolumeHasNumbersZero) {
    logical("vg", "off", 0, 0);
    EXPECT_EQ(labelled("ram0", 0, 0).lvname.view(), "vg/off");
    EXPECT_EQ(labelled("x", -1, 0).lv, NoLink); // the sign of one number does not change the other
}

TEST_F(Map, FirstMountOfADevice) {
    mount("sda1", "/dev/sda1", "/first");
    mount("sda1", "/dev/sda1", "/second");
    EXPECT_EQ(labelled("sda1").fsname.view(), "/first");
    EXPECT_EQ(labelled("sda1").lvname.view(), "/dev/sda1");
}

TEST_F(Map, LabelsAreCut) {
    const std::string path(400, 'd');
    mount("sda1", "/dev/" + path, "/" + path);
    EXPECT_EQ(labelled("sda1").fsname.view(), ("/" + path).substr(0, 255));
    EXPECT_EQ(labelled("sda1").lvname.view(), ("/dev/" + path).substr(0, 255));
}

TEST_F(Map, WithoutMemoryThereAreNoMounts) {
    NEEDS_ITS_HEAP();
    Made machine("file /etc/mtab <<END\na /a x rw\nb /b x rw\nc /c x rw\nEND\n");
    mountlist = std::vector<TMount>();
    mountlist.reserve(1);
    lvlist.emplace_back().fsname = "a"; // linked to the first mount, before memory for the second is missing
    EXPECT_TRUE(withoutMemory(16384, [] {
        getMounts();
        return mountlist.empty() && lvlist[0].mount == NoLink;
    }));
}

// --- Against searches through the lists in their order

namespace {
struct TStated {
    std::string ext, vgname, lvname, fsname;
    int vg = NoLink, lv = NoLink, pv = NoLink, mount = NoLink, path = NoLink;
};
} // namespace

static void searchPaths(const TDisk& disk, TStated& found) {
    for (size_t i = 0; i < pathlist.size() && found.path == NoLink; i++) {
        auto& device = pathlist[i];
        if (disk.name == Text<64>(device.name.view())) {
            found.ext = device.name.view();
            found.path = static_cast<int>(i);
        } else {
            for (auto& member : device.disk)
                if (disk.name == member.name) {
                    found.ext = std::string(device.name.view()) + " [Path" + std::to_string(member.pathindex) + "]";
                    found.path = static_cast<int>(i);
                    break;
                }
        }
        if (found.path != NoLink) found.pv = device.pv;
    }
}

template <typename Row, typename Match> static int firstOf(const std::vector<Row>& rows, const Match& match) {
    for (size_t i = 0; i < rows.size(); i++)
        if (match(rows[i])) return static_cast<int>(i);
    return NoLink;
}

static TStated search(const TDisk& disk) {
    TStated found;
    searchPaths(disk, found);
    if (found.pv == NoLink) found.pv = firstOf(pvlist, [&](auto& pv) { return pv.lastname == disk.name; });
    if (found.pv != NoLink) found.vgname = pvlist[static_cast<size_t>(found.pv)].vgname.view();
    found.lv = firstOf(lvlist, [&](auto& lv) { return lv.major == disk.major && lv.minor == disk.minor; });
    if (found.lv != NoLink) {
        auto& lv = lvlist[static_cast<size_t>(found.lv)];
        found.lvname = std::string(lv.vgname.view()) + "/" + std::string(lv.name.view());
        found.mount = lv.mount;
    } else {
        found.mount = firstOf(mountlist, [&](auto& mount) { return mount.lastfsname == disk.name; });
        if (found.mount != NoLink) found.lvname = mountlist[static_cast<size_t>(found.mount)].fsname.view();
    }
    if (found.mount != NoLink) found.fsname = mountlist[static_cast<size_t>(found.mount)].dir.view();
    if (!found.vgname.empty()) found.vg = firstOf(vglist, [&](auto& vg) { return vg.name.view() == found.vgname; });
    return found;
}

TEST_F(Map, JoinsAreThoseOfSearchesInOrder) {
    std::mt19937 random(20);
    const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    const auto name = [&] {
        return std::string(1, static_cast<char>('a' + below(9)));
    }; // few names, so that many are equal
    for (int round = 0; round < 3000; round++) {
        SetUp();
        for (int n = below(6); n > 0; n--) group(below(9) ? name() : "");
        for (int n = below(6); n > 0; n--) physical(name(), below(9) ? name() : "");
        for (int n = below(6); n > 0; n--)
            mount(name(), std::string("/dev/").append(name()), std::string("/").append(name()));
        for (int n = below(6); n > 0; n--)
            logical(name(), name(), below(3), below(3),
                    mountlist.empty() ? NoLink : below(static_cast<int>(mountlist.size()) + 1) - 1);
        for (int n = below(5); n > 0; n--) {
            auto& added = device(name(), pvlist.empty() ? NoLink : below(static_cast<int>(pvlist.size()) + 1) - 1);
            for (int m = below(4); m > 0; m--) member(added, name(), below(3) - 1);
        }
        for (int n = 0; n < 10; n++) {
            const auto& labels = labelled(name(), below(3), below(3));
            const auto stated = search(disks[0]);
            ASSERT_EQ(labels.ext.view(), stated.ext);
            ASSERT_EQ(labels.vgname.view(), stated.vgname);
            ASSERT_EQ(labels.lvname.view(), stated.lvname);
            ASSERT_EQ(labels.fsname.view(), stated.fsname);
            ASSERT_EQ(labels.vg, stated.vg);
            ASSERT_EQ(labels.lv, stated.lv);
            ASSERT_EQ(labels.pv, stated.pv);
            ASSERT_EQ(labels.mount, stated.mount);
            ASSERT_EQ(labels.path, stated.path);
        }
    }
}

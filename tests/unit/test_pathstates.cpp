// States of paths: as multipathd and the devices tell them, and as uevents change them.
#include "tests/unit/recordedvolumes.h"

using namespace std::string_view_literals;

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
    std::istringstream lines(recordedText(file));
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
            return parseMultipathMaps(recordedText(name + "/multipathd-maps" + moment + ".json")).value();
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

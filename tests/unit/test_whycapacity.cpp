// The rules of what has an end: filesystems, the speed of interfaces, limits of the kernel.
#include "tests/unit/whymachine.h"

#include <cstdint>
#include <optional>
#include <utility>

#include <gtest/gtest.h>

TEST(WhyFs, FullInodesAndTime) {
    for (const double used : {89.9, 90.1}) {
        WhyMachine machine;
        WhyMachine::put(machine.interval.filesystems, filesystem(used));
        EXPECT_EQ(culprits(machine.find(), "FS"), used < 90 ? "no finding" : "? 100?");
        machine.interval.filesystems.rows[0].read_only = true;
        EXPECT_TRUE(machine.find().why.empty()) << "an image is full from the start";
    }
    for (const uint64_t left : {101U, 99U}) {
        WhyMachine machine;
        WhyMachine::put(machine.interval.filesystems, filesystem(10)).inodes_free = left;
        EXPECT_EQ(machine.find().why.size(), left > 100 ? 0U : 1U);
    }
    for (const uint64_t seconds : {14401U, 14399U}) {
        WhyMachine machine;
        auto& row = WhyMachine::put(machine.interval.filesystems, filesystem(85));
        row.full_in_s = seconds, row.growth_rate = 183.0 * 1048576, row.growth = 366 * static_cast<int64_t>(MiB);
        EXPECT_EQ(machine.find().why.size(), seconds > 14400 ? 0U : 1U);
        row.used = 400 * GiB, row.available = 600 * GiB;
        EXPECT_EQ(machine.find().why.size(), 0U) << "not half full";
        row.full_in_s = 599;
        EXPECT_EQ(machine.find().why.size(), 1U) << "not half full, but soon";
    }
}

TEST(WhyFs, WhoGrowsIt) {
    WhyMachine machine;
    auto& row = WhyMachine::put(machine.interval.filesystems, filesystem(85));
    row.full_in_s = 3420, row.growth_rate = 183.0 * 1048576, row.growth = 366 * static_cast<int64_t>(MiB);
    auto& rsync = machine.process(4411, "rsync");
    rsync.write_bytes = 366 * MiB;
    auto& other = machine.process(5, "other");
    other.write_bytes = 100 * MiB;
    EXPECT_EQ(culprits(machine.find(), "FS"), "rsync 79~, other 21~") << "no file is known";
    auto& file = machine.file(rsync, "/srv/db7.tar", "sdb", 366 * MiB);
    file.mount = "/srv", file.growth = 366 * static_cast<int64_t>(MiB), file.size = 118 * GiB;
    auto& elsewhere = machine.file(other, "/tmp/x", "sdb", 100 * MiB);
    elsewhere.mount = "/tmp", elsewhere.growth = 100 * static_cast<int64_t>(MiB);
    const auto found = machine.find();
    EXPECT_EQ(culprits(found, "FS"), "rsync 100=");
    EXPECT_EQ(found.who[0].evidence, "grows by 183.0 MB/s, fd 5 /srv/db7.tar, 118G");
    EXPECT_EQ(found.why[0].text, "85.0% used, 150G free, at 183.0 MB/s");
    EXPECT_EQ(found.why[0].ends, 3420);
}

TEST(WhyFs, OneThatDoesNotAnswer) {
    for (const uint64_t stuck : {900000U, 2000000U}) {
        WhyMachine machine;
        auto& row = WhyMachine::put(machine.interval.filesystems, filesystem(50));
        row.stuck_us = stuck, row.source = "nas:/export", row.remote = true;
        machine.cpu().blocked = 30;
        machine.process(7, "ls").state = 'D';
        const auto found = machine.find();
        EXPECT_EQ(culprits(found, "FS"), stuck < 1000000 ? "no finding" : "nas:/export 100~");
        EXPECT_EQ(findingOf(found, "BLOCKED") == nullptr, stuck > 1000000) << "the server explains them";
    }
}

TEST(WhyNet, SpeedDropsAndErrors) {
    for (const double used : {89.9, 90.1}) {
        WhyMachine machine;
        LinkRow link;
        link.name = "eth0", link.index = 2, link.speed = 1000000000;
        link.rx_bytes = static_cast<uint64_t>(used * 2 * 1e9 / 8 / 100), link.tx_bytes = 5;
        WhyMachine::put(machine.interval.links, link);
        EXPECT_EQ(culprits(machine.find(), "LINK", "eth0"), used < 90 ? "no finding" : "? 100?");
        machine.interval.links.rows[0].speed.reset();
        EXPECT_TRUE(machine.find().why.empty());
    }
    const std::pair<std::optional<uint64_t> LinkRow::*, uint64_t> figures[] = {
        {&LinkRow::rx_dropped, 200},
        {&LinkRow::tx_dropped, 200},
        {&LinkRow::rx_errors, 20},
        {&LinkRow::tx_errors, 20},
    };
    for (auto& [figure, limit] : figures)
        for (const uint64_t amount : {limit - 1, limit}) {
            WhyMachine machine;
            LinkRow link;
            link.name = "eth0", link.*figure = amount;
            WhyMachine::put(machine.interval.links, link);
            EXPECT_EQ(machine.find().why.size(), amount == limit ? 1U : 0U);
        }
}

TEST(WhyLimit, UseAndReach) {
    for (const uint64_t use : {899U, 900U}) {
        WhyMachine machine;
        WhyMachine::put(machine.interval.limits, LimitRow{"conntrack", "", use, 1000, 0});
        EXPECT_EQ(culprits(machine.find(), "LIMIT", "conntrack"), use < 900 ? "no finding" : "? 100?");
    }
    for (const uint64_t reached : {1U, 2U}) {
        WhyMachine machine;
        WhyMachine::put(machine.interval.limits, LimitRow{"conntrack", "", 1, 1000, reached});
        WhyMachine::put(machine.interval.limits, LimitRow{"squeeze", "", {}, {}, 5000});
        EXPECT_EQ(machine.find().why.size(), reached == 2 ? 1U : 0U);
    }
}

TEST(WhyLimit, WhoUsesTasksAndFiles) {
    WhyMachine machine;
    WhyMachine::put(machine.interval.limits, LimitRow{"pids", "", 950, 1000, {}});
    WhyMachine::put(machine.interval.limits, LimitRow{"files", "", 9500, 10000, {}});
    auto& java = machine.process(1, "java");
    java.threads = 700, java.descriptors = 9000, java.descriptor_limit = 9500;
    auto found = machine.find();
    EXPECT_EQ(culprits(found, "LIMIT", "pids"), "java 74=, ? 26?");
    EXPECT_EQ(culprits(found, "LIMIT", "files"), "java 95~, ? 5?");
    EXPECT_EQ(culprits(found, "LIMIT", "files of java[1]"), "java 100=");
    // Most of the tasks sleep.
    java.threads = 2;
    for (auto& [path, pids] : {std::pair<const char*, uint64_t>{"/", 950}, {"/a", 900}, {"/a/b", 900}, {"/c", 19}})
        machine.group(path).pids = pids;
    found = machine.find();
    EXPECT_EQ(culprits(found, "LIMIT", "pids"), "/a/b 95=, /c 2=, ? 3?");
    java.descriptors = 8000;
    EXPECT_FALSE(findingOf(machine.find(), "LIMIT", "files of java[1]"));
}

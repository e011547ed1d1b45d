// The rules of disks on both sides of their limits, with decoys, and where sources are lacking.
#include "tests/unit/whymachine.h"

#include <algorithm>
#include <cstdint>

#include <gtest/gtest.h>

TEST(WhyDisk, WaitQueueAndStall) {
    const struct {
        double wait, queue, stall;
        bool found;
    } cases[] = {
        {20.1, 1.1, 10.1, true}, {19.9, 1.1, 10.1, false}, {20.1, 0.9, 10.1, false},
        {20.1, 1.1, 9.9, false}, {0.1, 0.1, 0, false}, // busy all the time is nothing by itself
    };
    for (auto& c : cases) {
        auto machine = slowDisk(c.wait, c.queue);
        machine.pressure("io", c.stall, 0);
        EXPECT_EQ(machine.find().why.size(), c.found ? 1U : 0U) << c.wait << " " << c.queue << " " << c.stall;
        machine.interval.pressure.clear();
        EXPECT_EQ(machine.find().why.size(), c.wait > 20 && c.queue > 1 ? 1U : 0U) << "without PSI";
    }
}

TEST(WhyDisk, WhatKeepsAWaitFromBeingAFinding) {
    const struct {
        double wait, queue, stall;
        const char* rule;
        double value;
    } cases[] = {{12, 0.4, 5, "disk.wait", 12}, {34, 0.4, 9, "disk.queue", 0.4}, {34, 0.9, 4, "disk.stall", 4}};
    for (auto& c : cases) {
        auto machine = slowDisk(c.wait, c.queue);
        machine.pressure("io", c.stall, 0);
        const auto found = machine.find();
        const auto disk =
            std::find_if(found.nearest.begin(), found.nearest.end(), [](auto& row) { return row.resource == "DISK"; });
        ASSERT_NE(disk, found.nearest.end()) << c.wait;
        EXPECT_EQ(disk->rule, c.rule);
        EXPECT_NEAR(disk->value.value_or(-1), c.value, 0.01);
        EXPECT_LT(disk->value, disk->limit);
    }
}

TEST(WhyDisk, AllTasksWaitForAFastDisk) {
    for (const double full : {49.9, 50.1}) {
        auto machine = slowDisk(0.4, 30);
        machine.disk("sdc", "8:32", 100, 0.4, 20);
        machine.pressure("io", 80, full);
        const auto found = machine.find();
        ASSERT_EQ(found.why.size(), full > 50 ? 1U : 0U);
        EXPECT_TRUE(full < 50 || found.why[0].object == "sdb");
    }
}

TEST(WhyDisk, WhatStandsOnOthersIsNotFound) {
    for (auto* kind : {"partition", "loop", "zram", "ram", "path"}) {
        auto machine = slowDisk();
        machine.interval.disks.rows[0].kind = kind;
        EXPECT_TRUE(machine.find().why.empty()) << kind;
    }
    auto machine = slowDisk();
    machine.interval.disks.rows[0].stacked = true;
    EXPECT_TRUE(machine.find().why.empty());
}

TEST(WhyDisk, GroupsFirstThenProcesses) {
    auto machine = slowDisk();
    auto& rsync = machine.process(4411, "rsync", "/system.slice/backup.service");
    rsync.write_bytes = 366 * MiB, rsync.written_recently = 6000 * MiB;
    auto& postgres = machine.process(2210, "postgres", "/system.slice/postgres.service");
    postgres.write_bytes = 16 * MiB, postgres.written_recently = 900 * MiB;
    machine.groupIo("/system.slice", "8:16", 392 * MiB);
    machine.groupIo("/system.slice/backup.service", "8:16", 368 * MiB);
    machine.groupIo("/system.slice/postgres.service", "8:16", 16 * MiB);
    machine.groupIo("/system.slice/postgres.service", "8:0", 900 * MiB);
    auto found = machine.find();
    // The slice itself has 8 MiB that no process of it explains, and 8 MiB more are nobody's.
    EXPECT_EQ(culprits(found, "DISK"), "rsync 92~, postgres 4~, /system.slice 2=, ? 2?");
    machine.file(rsync, "/srv/db7.tar", "sdb", 366 * MiB).position = 118 * GiB;
    found = machine.find();
    EXPECT_EQ(found.who[0].path, "/srv/db7.tar");
    EXPECT_EQ(found.who[0].evidence, "183.0 MB/s, fd 5 /srv/db7.tar, +366M at 118G");
}

TEST(WhyDisk, DecoysWithoutGroups) {
    auto machine = slowDisk();
    machine.process(1, "cached").read_chars = 9000 * MiB;
    auto& elsewhere = machine.process(2, "elsewhere");
    elsewhere.write_bytes = elsewhere.written_recently = 900 * MiB;
    machine.file(elsewhere, "/other", "sdc", 900 * MiB);
    auto& writer = machine.process(3, "writer");
    writer.write_bytes = writer.written_recently = 300 * MiB;
    machine.file(writer, "/srv/x", "sdb", 300 * MiB);
    auto& holder = machine.process(4, "holder");
    holder.cpu_us = Second;
    auto& database = machine.process(5, "database");
    database.write_bytes = database.written_recently = 40 * MiB;
    EXPECT_EQ(culprits(machine.find(), "DISK"), "writer 75~, database 10~, ? 15?");
}

TEST(WhyDisk, MoreThanItMovedIsCached) {
    auto machine = slowDisk();
    auto& writer = machine.process(3, "writer");
    writer.write_bytes = writer.written_recently = 4000 * MiB;
    const auto found = machine.find();
    EXPECT_EQ(culprits(found, "DISK"), "writer 100~");
    EXPECT_EQ(found.who[0].evidence, "2000.0 MB/s, of it 1800.0 MB/s still cached");
}

TEST(WhyDisk, WritesComeLate) {
    auto machine = slowDisk();
    auto& earlier = machine.process(3, "earlier");
    earlier.write_bytes = 0, earlier.written_recently = 4000 * MiB;
    machine.process(4, "now").write_bytes = 20 * MiB;
    EXPECT_EQ(culprits(machine.find(), "DISK"), "earlier 100~") << "the other has half a percent";
}

TEST(WhyDisk, Readers) {
    auto machine = slowDisk();
    auto& disk = machine.interval.disks.rows[0];
    disk.write_us = 0, disk.reads = 100, disk.read_us = 100 * 41000, disk.read_bytes = 100 * MiB;
    machine.process(3, "reader").read_bytes = 80 * MiB;
    machine.process(4, "writer").write_bytes = 900 * MiB;
    const auto found = machine.find();
    EXPECT_EQ(culprits(found, "DISK"), "reader 80~, ? 20?");
    EXPECT_EQ(found.why[0].figure, "reads wait");
}

TEST(WhyDisk, WhoSuffers) {
    auto machine = slowDisk();
    machine.memory().dirty = 6 * GiB, machine.memory().dirty_limit = 7 * GiB,
    machine.memory().dirty_background = 3 * GiB;
    for (uint64_t pid = 10; pid < 18; pid++) machine.process(pid, "postgres").state = 'D';
    machine.process(20, "rsyslogd").state = 'D';
    const auto found = machine.find();
    ASSERT_EQ(found.suffer.size(), 2U);
    EXPECT_EQ(found.suffer[0].name, "postgres");
    EXPECT_EQ(found.suffer[0].count, 8U);
    EXPECT_EQ(found.suffer[1].pid, 20U);
    EXPECT_EQ(found.why[0].note, "dirty 6.0G of 7.0G: writers are slowed from 5.0G");
}

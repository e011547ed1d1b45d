// Each rule on both sides of its limit, with decoys, and where sources are lacking.
#include "tests/unit/whymachine.h"

#include <gtest/gtest.h>

TEST(Why, NothingOnACalmMachine) {
    WhyMachine machine;
    machine.disk("sda", "8:0", 50, 2, 0.3);
    const auto found = machine.find();
    EXPECT_TRUE(found.why.empty());
    EXPECT_TRUE(found.who.empty());
    EXPECT_TRUE(found.suffer.empty());
    ASSERT_GE(found.nearest.size(), 2U);
    EXPECT_LE(found.nearest.size(), 4U);
    for (auto& row : found.nearest) EXPECT_LT(row.share, 100) << row.rule;
    judge(machine.interval, machine.limits);
    EXPECT_TRUE(isJudged(machine.interval));
}

TEST(Why, NothingWithoutFigures) {
    const auto found = findings(Interval{}, Limits());
    EXPECT_TRUE(found.why.empty());
    EXPECT_TRUE(found.nearest.empty());
    Interval interval;
    judge(interval, Limits());
    EXPECT_FALSE(isJudged(interval));
    // Of the first sample there are levels alone.
    WhyMachine machine;
    machine.interval.elapsed_us = 0;
    eachKind(machine.interval, [](auto&, auto& rows) { rows.elapsed_us = 0; });
    machine.memory().available = GiB;
    EXPECT_EQ(machine.find().why.size(), 1U);
}

// --- CPU

TEST(WhyCpu, Stall) {
    for (const double stall : {19.9, 20.1}) {
        WhyMachine machine;
        machine.busy(97);
        machine.pressure("cpu", stall, 0);
        machine.cpu().running = 41;
        machine.process(8, "hog").cpu_us = 24 * Second;
        machine.process(9, "other").cpu_us = 6 * Second;
        machine.process(10, "victim").wait_us = Second;
        const auto found = machine.find();
        if (stall < 20) {
            EXPECT_EQ(found.why.size(), 0U);
            continue;
        }
        EXPECT_EQ(culprits(found, "CPU"), "hog 77=, other 19=, ? 4?");
        ASSERT_EQ(found.why.size(), 1U);
        EXPECT_EQ(found.why[0].rule, "cpu.stall");
        EXPECT_EQ(found.why[0].text, "run queue 41 on 16 CPUs, used 97.0%, sys 0.0%");
        ASSERT_EQ(found.suffer.size(), 1U);
        EXPECT_EQ(found.suffer[0].name, "victim");
        EXPECT_EQ(found.suffer[0].value, 1);
    }
}

TEST(WhyCpu, ThrottledTasksAreNoWantOfCpus) {
    WhyMachine machine;
    machine.busy(29);
    machine.pressure("cpu", 80, 0);
    EXPECT_TRUE(findingOf(machine.find(), "CPU")) << "bound to few CPUs";
    auto& group = machine.group("/shop");
    group.periods = 20, group.throttled_periods = 19, group.quota = 2, group.cpu_us = 4 * Second;
    machine.process(9110, "gunicorn", "/shop/api").cpu_us = 3 * Second;
    machine.process(9111, "beside", "/shopping").cpu_us = 3 * Second;
    const auto found = machine.find();
    EXPECT_FALSE(findingOf(found, "CPU"));
    EXPECT_EQ(culprits(found, "QUOTA"), "gunicorn 75=, ? 25?");
    EXPECT_NE(findingOf(found, "QUOTA")->note.find("the limit is the cause"), std::string::npos);
    EXPECT_EQ(findingOf(found, "QUOTA")->text, "used 2.00 of 2.00 CPUs");
    // When the CPUs are used up, too, both are found.
    machine.busy(97);
    EXPECT_TRUE(findingOf(machine.find(), "CPU"));
}

TEST(WhyCpu, RunQueueWithoutPsi) {
    for (const int running : {16, 17}) {
        WhyMachine machine;
        machine.interval.pressure.clear();
        machine.busy(95);
        machine.cpu().running = static_cast<uint64_t>(running);
        EXPECT_EQ(machine.find().why.size(), running > 16 ? 1U : 0U);
        machine.busy(89);
        EXPECT_EQ(machine.find().why.size(), 0U) << "an instant alone says little";
    }
    WhyMachine machine;
    machine.busy(95);
    machine.cpu().running = 40;
    EXPECT_EQ(machine.find().why.size(), 0U) << "with PSI nobody waited";
}

TEST(WhyCpu, Steal) {
    for (const double steal : {9.9, 10.1}) {
        WhyMachine machine;
        machine.cpu().steal_us = static_cast<uint64_t>(steal * 320000);
        machine.cpu().idle_us = 29 * Second - *machine.cpu().steal_us;
        const auto found = machine.find();
        EXPECT_EQ(culprits(found, "CPU", "steal"), steal < 10 ? "no finding" : "? 100?");
    }
}

TEST(WhyCpu, ChildrenAndInterruptsAndNice) {
    WhyMachine machine;
    machine.busy(100);
    machine.cpu().softirq_us = 4 * Second, machine.cpu().user_us = 28 * Second;
    machine.pressure("cpu", 78, 0);
    machine.process(7001, "check.sh").children_us = 11 * Second;
    machine.process(1, "java").cpu_us = 6 * Second;
    auto& nice = machine.process(2, "nice");
    nice.cpu_us = 11 * Second + 1, nice.nice = 19;
    ChurnRow churn;
    churn.parent = 7001, churn.parent_start = 7001 * 7 + 1;
    churn.command = "sh", churn.ended = 2000, churn.cpu_us = 8 * Second;
    WhyMachine::put(machine.interval.churn, churn);
    const auto found = machine.find();
    EXPECT_EQ(culprits(found, "CPU"), "children of check.sh 34=, java 19=, interrupts 13~, nice 34=");
    EXPECT_EQ(found.who[0].evidence, "2000 ended, mean 4.0 ms of CPU: sh 2000");
    EXPECT_NE(found.who[3].evidence.find("nice 19"), std::string::npos);
}

TEST(WhyCpu, QuotaLimits) {
    for (const uint64_t throttled : {9U, 10U}) {
        WhyMachine machine;
        auto& group = machine.group("/g");
        group.periods = 100, group.throttled_periods = throttled;
        EXPECT_EQ(machine.find().why.size(), throttled == 10 ? 1U : 0U);
    }
    for (const double used : {1.89, 1.91}) {
        WhyMachine machine;
        auto& group = machine.group("/g");
        group.quota = 2, group.cpu_us = static_cast<uint64_t>(used * 2 * Second);
        const auto found = machine.find();
        EXPECT_EQ(found.why.size(), used > 1.9 ? 1U : 0U) << "a kernel without these counters";
        group.periods = 0;
        EXPECT_EQ(machine.find().why.size(), 0U);
    }
}

TEST(WhyForks, ParentsByCountOrByCpu) {
    for (const uint64_t forks : {999U, 1001U}) {
        WhyMachine machine;
        machine.cpu().forks = forks;
        machine.process(7001, "check.sh").children_us = 300000;
        machine.process(80, "make").children_us = 100000;
        auto found = machine.find();
        if (forks < 1000) {
            EXPECT_EQ(found.why.size(), 0U);
            continue;
        }
        // Nobody counts them.
        EXPECT_EQ(culprits(found, "FORKS"), "children of check.sh 75~, children of make 25~");
        ChurnRow churn;
        churn.parent = 7001, churn.parent_start = 7001 * 7 + 1, churn.ended = 901;
        WhyMachine::put(machine.interval.churn, churn);
        StartRow start;
        start.parent = 80;
        for (int i = 0; i < 50; i++) WhyMachine::put(machine.interval.starts, start);
        churn.parent = 77, churn.parent_start = 0, churn.ended = 30, churn.parent_name = "gone";
        WhyMachine::put(machine.interval.churn, churn);
        found = machine.find();
        EXPECT_EQ(culprits(found, "FORKS"), "children of check.sh 90=, children of make 5=, children of gone 3=, ? 2?");
    }
}

// --- Memory

TEST(WhyMemory, AvailableAndGrowth) {
    for (const uint64_t available : {5U, 7U}) { // of 128 halves of a GiB
        WhyMachine machine;
        machine.memory().available = available * GiB / 2;
        auto& leak = machine.process(8123, "java");
        leak.growth = 100 * static_cast<int64_t>(MiB), leak.rss = 51 * GiB, leak.swap = 5 * GiB, leak.oom_score = 1190;
        auto& large = machine.process(1, "large");
        large.rss = 60 * GiB, large.growth = 0;
        auto& victim = machine.process(2, "victim");
        victim.growth = -100 * static_cast<int64_t>(MiB), victim.major_faults = 620;
        machine.process(3, "node").growth = 7 * static_cast<int64_t>(MiB);
        const auto found = machine.find();
        if (available == 7) {
            EXPECT_EQ(found.why.size(), 0U);
            continue;
        }
        EXPECT_EQ(culprits(found, "MEMORY"), "java 93=, node 7=");
        EXPECT_EQ(found.who[0].evidence, "anon+swap +50.0 MB/s, rss 51.0G, swap 5.0G, oom_score 1190");
        EXPECT_NEAR(found.why[0].ends.value_or(0), 2560 / 53.5, 0.1);
        EXPECT_EQ(found.why[0].end, "memory gone");
        EXPECT_EQ(found.why[0].note, "swap gone in 3m");
        ASSERT_EQ(found.suffer.size(), 1U);
        EXPECT_EQ(found.suffer[0].name, "victim");
        EXPECT_EQ(found.suffer[0].value, 310);
    }
}

TEST(WhyMemory, WhoHoldsItWhenNobodyGrows) {
    WhyMachine machine;
    machine.memory().available = GiB;
    machine.process(1, "large").anonymous = 40 * GiB;
    machine.process(2, "small").rss = 2 * GiB;
    EXPECT_EQ(culprits(machine.find(), "MEMORY"), "large 64~, small 3~, ? 33?");
    // A level that is older than the interval says what grew, but not when.
    auto& old = machine.process(3, "old");
    old.growth = 100 * static_cast<int64_t>(MiB), old.memory_age_us = 5 * Second;
    EXPECT_EQ(culprits(machine.find(), "MEMORY"), "old 100~");
}

TEST(WhyMemory, StallSwapAndReclaim) {
    for (const double stall : {9.9, 10.1}) {
        WhyMachine machine;
        machine.pressure("memory", stall, 1);
        EXPECT_EQ(machine.find().why.size(), stall > 10 ? 1U : 0U);
    }
    const std::pair<std::optional<uint64_t> MemoryRow::*, uint64_t> figures[] = {
        {&MemoryRow::swap_in, 8 * MiB},
        {&MemoryRow::direct_scanned, 4000},
        {&MemoryRow::refaults, 4000},
    };
    for (auto& [figure, limit] : figures) {
        WhyMachine machine;
        machine.memory().*figure = limit;
        EXPECT_EQ(machine.find().why.size(), 0U) << "with PSI nobody waited";
        machine.interval.pressure.clear();
        EXPECT_EQ(machine.find().why.size(), 1U);
        machine.memory().*figure = limit - 2;
        EXPECT_EQ(machine.find().why.size(), 0U);
        machine.memory().*figure = std::nullopt;
        EXPECT_EQ(machine.find().why.size(), 0U);
    }
}

TEST(WhyMemory, KillsOfTheMachineAndOfGroups) {
    WhyMachine machine;
    machine.memory().oom_kills = 1;
    EXPECT_EQ(findingOf(machine.find(), "MEMORY")->rule, "mem.kills");
    // The machine counts those of groups, too, and a group those of the groups below it.
    for (auto* path : {"/pod", "/pod/box"}) {
        auto& group = machine.group(path);
        group.memory = 900 * MiB, group.memory_limit = GiB, group.oom_kills = 1;
    }
    machine.process(4, "box", "/pod/box").growth = 50 * static_cast<int64_t>(MiB);
    machine.process(5, "other", "/podium").growth = 900 * static_cast<int64_t>(MiB);
    const auto found = machine.find();
    EXPECT_EQ(found.why.size(), 2U);
    EXPECT_EQ(culprits(found, "MEMORY", "/pod/box"), "box 100=");
}

TEST(WhyMemory, AGroupAtItsLimit) {
    WhyMachine machine;
    auto& group = machine.group("/box");
    group.memory = 970 * MiB, group.memory_limit = GiB;
    group.memory_some_us = 2 * Second * 11 / 100;
    EXPECT_FALSE(findingOf(machine.find(), "MEMORY", "/box")) << "94.7 percent";
    group.memory = 975 * MiB;
    EXPECT_EQ(findingOf(machine.find(), "MEMORY", "/box")->rule, "group.stall");
    group.memory_some_us = 2 * Second * 9 / 100;
    EXPECT_FALSE(findingOf(machine.find(), "MEMORY", "/box")) << "a full page cache is no trouble";
    group.memory_some_us.reset();
    group.memory_max = 19;
    EXPECT_FALSE(findingOf(machine.find(), "MEMORY", "/box"));
    group.memory_max = 20;
    EXPECT_EQ(findingOf(machine.find(), "MEMORY", "/box")->rule, "group.hits");
    group.memory_limit.reset();
    EXPECT_FALSE(findingOf(machine.find(), "MEMORY", "/box"));
}

// --- Disks

static WhyMachine slowDisk(double wait_ms = 41, double queue = 17) {
    WhyMachine machine;
    machine.pressure("io", 71.5, 40);
    machine.disk("sdb", "8:16", 200, wait_ms, queue);
    return machine;
}

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

// --- Filesystems, network, limits, blocked tasks

static FsRow filesystem(double used) {
    FsRow row;
    row.point = "/srv", row.device = "8:17", row.type = "ext4";
    row.size = 1000 * GiB, row.used = static_cast<uint64_t>(used * 10 * static_cast<double>(GiB));
    row.available = 1000 * GiB - *row.used;
    row.inodes = 1000, row.inodes_free = 900;
    return row;
}

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

TEST(WhyBlocked, TasksThatNothingExplains) {
    for (const uint64_t blocked : {7U, 8U}) {
        WhyMachine machine;
        machine.cpu().blocked = blocked;
        machine.process(7, "ls").state = 'D';
        const auto found = machine.find();
        EXPECT_EQ(culprits(found, "BLOCKED"), blocked < 8 ? "no finding" : "? 100?");
        EXPECT_EQ(found.suffer.size(), blocked < 8 ? 0U : 1U);
    }
    auto machine = slowDisk();
    machine.cpu().blocked = 30;
    EXPECT_FALSE(findingOf(machine.find(), "BLOCKED"));
    WhyMachine bare;
    bare.interval.cpu.clear();
    EXPECT_TRUE(bare.find().why.empty());
    ProcsRow all;
    all.blocked = 9;
    WhyMachine::put(bare.interval.processesTotal, all);
    EXPECT_TRUE(findingOf(bare.find(), "BLOCKED"));
}

// Ten tasks are blocked; sdb is busy, but below its limits.
static WhyMachine blockedTasks() {
    WhyMachine machine;
    machine.cpu().blocked = 10;
    machine.pressure("io", 40, 8);
    machine.disk("sda", "8:0", 0, 0, 0.1);
    machine.disk("sdb", "8:16", 100, 6, 2.2);
    return machine;
}

static void block(WhyMachine& machine, uint64_t pid, const char* name, const char* function) {
    auto& process = machine.process(pid, name);
    process.state = 'D', process.wait_channel = function;
}

static std::string evidenceOf(const Findings& found, std::string_view name) {
    for (auto& row : found.who)
        if (row.name == name) return row.evidence;
    return {};
}

TEST(WhyBlocked, WhoKeepsTheDiskBusy) {
    auto machine = blockedTasks();
    auto& tar = machine.process(4411, "tar");
    tar.write_bytes = 150 * MiB;
    for (uint64_t pid = 20; pid < 26; pid++) block(machine, pid, "postgres", "folio_wait_bit_common");
    block(machine, 30, "rsyslogd", "jbd2_log_wait_commit");
    block(machine, 31, "rsyslogd", "io_schedule");
    // Three quarters of what the disk did were the process's; the disk stands for the rest.
    auto found = machine.find();
    EXPECT_EQ(culprits(found, "BLOCKED"), "tar 60~, sdb 20~, ? 20?");
    EXPECT_EQ(evidenceOf(found, "tar"), "75.0 MB/s; 8 wait for sdb in folio_wait_bit_common, io_schedule, "
                                        "jbd2_log_wait_commit: postgres x6, rsyslogd x2");
    EXPECT_EQ(evidenceOf(found, "sdb"),
              "8 wait for sdb in folio_wait_bit_common, io_schedule, "
              "jbd2_log_wait_commit: postgres x6, rsyslogd x2; queue 2.2, writes wait 6.0 ms");
    // A file tells more than the longest queue.
    auto& database = machine.process(40, "database");
    database.state = 'D', database.wait_channel = "io_schedule";
    machine.file(database, "/var/db", "sda", 1);
    machine.interval.disks.rows[0].reads = 5;
    EXPECT_EQ(culprits(machine.find(), "BLOCKED"), "tar 60~, sdb 20~, sda 10~, ? 10?");
}

TEST(WhyBlocked, ADiskThatEndsNothing) {
    auto machine = blockedTasks();
    auto& disk = machine.interval.disks.rows[1];
    disk.writes = disk.write_us = disk.write_bytes = disk.queue_us = 0;
    for (uint64_t pid = 20; pid < 29; pid++) block(machine, pid, "postgres", "io_schedule");
    machine.process(4411, "tar").write_bytes = 150 * MiB;
    disk.in_flight = 0;
    EXPECT_EQ(culprits(machine.find(), "BLOCKED"), "sda 90~, ? 10?");
    disk.in_flight = 12;
    const auto found = machine.find();
    EXPECT_EQ(culprits(found, "BLOCKED"), "sdb 90~, ? 10?");
    EXPECT_EQ(evidenceOf(found, "sdb"),
              "9 wait for sdb in io_schedule: postgres x9; 12 requests under way, none ended");
}

TEST(WhyBlocked, WhoServesAFilesystem) {
    auto machine = blockedTasks();
    for (uint64_t pid = 20; pid < 28; pid++) block(machine, pid, "ls", "rpc_wait_bit_killable");
    block(machine, 30, "cat", "request_wait_answer");
    auto found = machine.find();
    EXPECT_EQ(culprits(found, "BLOCKED"), "who serves NFS 80~, who serves FUSE 10~, ? 10?");
    EXPECT_EQ(evidenceOf(found, "who serves FUSE"), "1 waits in request_wait_answer: cat");
    auto home = filesystem(10);
    home.point = "/home", home.type = "nfs4", home.source = "nas:/home", home.remote = true;
    WhyMachine::put(machine.interval.filesystems, home);
    found = machine.find();
    EXPECT_EQ(culprits(found, "BLOCKED"), "nas:/home 80~, who serves FUSE 10~, ? 10?");
    EXPECT_EQ(evidenceOf(found, "nas:/home"), "8 wait for /home in rpc_wait_bit_killable: ls x8");
    // Of two nobody knows which; but of one that is late, and of the one that has the process's file.
    home.point = "/mail", home.source = "nas:/mail";
    WhyMachine::put(machine.interval.filesystems, home);
    EXPECT_EQ(culprits(machine.find(), "BLOCKED"), "who serves NFS 80~, who serves FUSE 10~, ? 10?");
    machine.interval.filesystems.rows[1].stuck_us = 900000;
    EXPECT_EQ(culprits(machine.find(), "BLOCKED"), "nas:/mail 80~, who serves FUSE 10~, ? 10?");
    auto& reader = machine.process(50, "reader");
    reader.state = 'D', reader.wait_channel = "folio_wait_bit_common"; // a page from the server
    auto& file = machine.file(reader, "/home/x", "", 5);
    file.mount = "/home", file.type = "nfs4";
    EXPECT_EQ(culprits(machine.find(), "BLOCKED"), "nas:/mail 80~, who serves FUSE 10~, nas:/home 10~");
}

// Without a right the kernel does not tell the function: then the disk must really be busy.
TEST(WhyBlocked, WithoutFunctions) {
    auto machine = blockedTasks();
    for (uint64_t pid = 20; pid < 30; pid++) block(machine, pid, "postgres", "");
    machine.process(4411, "tar").write_bytes = 200 * MiB;
    EXPECT_EQ(culprits(machine.find(), "BLOCKED"), "tar 100~");
    machine.interval.disks.rows[1].queue_us = 2 * Second * 9 / 10;
    EXPECT_EQ(culprits(machine.find(), "BLOCKED"), "? 100?");
    machine.interval.disks.clear();
    EXPECT_EQ(culprits(machine.find(), "BLOCKED"), "? 100?");
}

TEST(WhyBlocked, OtherFunctions) {
    auto machine = blockedTasks();
    block(machine, 20, "scanner", "usb_sg_wait");
    for (uint64_t pid = 30; pid < 33; pid++) block(machine, pid, "sh", "kernel_clone");
    const auto found = machine.find();
    EXPECT_EQ(culprits(found, "BLOCKED"), "kernel_clone 30~, usb_sg_wait 10~, ? 60?");
    EXPECT_EQ(evidenceOf(found, "usb_sg_wait"), "1 waits: scanner");
    EXPECT_EQ(found.suffer.size(), 2U);
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

// --- All together

TEST(Why, TheWorstFirstAndNotTooMany) {
    auto machine = slowDisk();
    WhyMachine::put(machine.interval.filesystems, filesystem(92));
    machine.memory().oom_kills = 1;
    for (int i = 0; i < 40; i++) {
        auto& group = machine.group("/g" + std::to_string(i));
        group.periods = 100, group.throttled_periods = static_cast<uint64_t>(20 + i);
    }
    const auto found = machine.find();
    ASSERT_EQ(found.why.size(), 20U);
    EXPECT_EQ(found.why[0].resource, "MEMORY");
    EXPECT_EQ(found.why[1].resource, "DISK");
    for (size_t i = 0; i < found.why.size(); i++) EXPECT_EQ(found.why[i].rank, i + 1);
    for (auto& row : found.nearest) EXPECT_NE(row.resource, "DISK");
}

TEST(Why, WhatIsNamedHasNoBudget) {
    auto machine = slowDisk();
    auto& rsync = machine.process(4411, "rsync", "/b");
    rsync.write_bytes = 366 * MiB;
    auto& idle = machine.process(1, "idle");
    idle.read_chars = 5;
    machine.groupIo("/b", "8:16", 300 * MiB);
    const auto& file = machine.file(rsync, "/srv/x", "sdb", 366 * MiB);
    judge(machine.interval, machine.limits);
    const Named named(machine.interval);
    EXPECT_TRUE(named.has(machine.interval.processes.rows[0]));
    EXPECT_FALSE(named.has(machine.interval.processes.rows[1]));
    EXPECT_TRUE(named.has(file));
    EXPECT_TRUE(named.has(machine.interval.disks.rows[0]));
    EXPECT_TRUE(named.has(machine.interval.cgroupDevices.rows[0]));
    EXPECT_FALSE(named.has(machine.interval.cpu.rows[0]));
    EXPECT_EQ(firstCulprit(machine.interval.who)->pid, 4411U);
}

TEST(Why, ManyAlikeAreOneCulprit) {
    WhyMachine machine;
    machine.busy(100);
    machine.pressure("cpu", 90, 0);
    machine.process(5, "hog").cpu_us = 6 * Second;
    for (uint64_t pid = 10; pid < 22; pid++) machine.process(pid, "cc1plus").cpu_us = 2 * Second + pid;
    for (uint64_t pid = 30; pid < 32; pid++) machine.process(pid, "ld").cpu_us = Second;
    const auto found = machine.find();
    EXPECT_EQ(culprits(found, "CPU"), "cc1plus 75=, hog 19=, ld 3=, ld 3=");
    EXPECT_EQ(found.who[0].count, 12U);
    EXPECT_EQ(found.who[0].pid, 21U) << "the one that did most";
    machine.interval.processes.rows[3].user = "somebody else";
    EXPECT_EQ(machine.find().who[0].count, 11U);
}

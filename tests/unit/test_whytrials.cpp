// Trouble of each kind 50 times, with random processes, sizes and start times, among decoys. The right culprit is first
// in at least 49 of 50, a decoy never comes before it, and what is marked as exact is what it has done.
#include "tests/unit/whymachine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

namespace {
constexpr int Trials = 50, Enough = 49;

class Trial {
    std::mt19937_64 random;
    std::set<uint64_t> pids;

public:
    WhyMachine machine;
    uint64_t culprit = 0;
    std::set<uint64_t> decoys;

    explicit Trial(uint64_t seed) : random(seed) {}
    uint64_t between(uint64_t least, uint64_t most) { return least + random() % (most - least + 1); }
    ProcRow& process(const char* name, const std::string& cgroup = "/") {
        uint64_t pid = 0;
        do pid = between(2, 4000000);
        while (!pids.insert(pid).second);
        auto& row = machine.process(pid, name, cgroup);
        row.start = between(1, 1000000000);
        return row;
    }
    ProcRow& decoy(const char* name, const std::string& cgroup = "/") {
        auto& row = process(name, cgroup);
        decoys.insert(row.pid);
        return row;
    }
    // Processes that do a little of everything, before and after the culprit.
    void crowd() {
        for (uint64_t i = between(0, 40); i > 0; i--) {
            auto& row = process("crowd", "/crowd");
            row.cpu_us = between(0, 5000), row.read_bytes = between(0, 64) * 1024,
            row.write_bytes = between(0, 64) * 1024;
            row.written_recently = *row.write_bytes, row.growth = static_cast<int64_t>(between(0, 32)) * 1024;
        }
    }
    // Whether the culprit comes first. A decoy before it fails.
    bool judge(const char* resource, const char* what, uint64_t seed) {
        const auto found = machine.find();
        const auto* why = findingOf(found, resource);
        EXPECT_TRUE(why) << what << ", seed " << seed;
        if (!why) return false;
        std::vector<const WhoRow*> rows;
        uint64_t shares = 0;
        for (auto& row : found.who)
            if (row.rank == why->rank) rows.push_back(&row), shares += row.share;
        EXPECT_EQ(shares, 100U) << what << ", seed " << seed;
        const auto at = std::find_if(rows.begin(), rows.end(), [&](auto* row) { return row->pid == culprit; });
        for (auto it = rows.begin(); it != rows.end(); ++it)
            EXPECT_FALSE(it < at && (*it)->pid && decoys.contains(*(*it)->pid))
                << what << ", seed " << seed << ": " << (*it)->name << " before the culprit";
        return at == rows.begin();
    }
};
} // namespace

// Runs `make` with 50 seeds; each makes a trial and says how it went.
template <typename Make> static void trials(const char* what, const Make& make) {
    const uint64_t seed = std::random_device()();
    int first = 0;
    for (uint64_t i = 0; i < Trials; i++) first += make(seed + i) ? 1 : 0;
    EXPECT_GE(first, Enough) << what << ", seed " << seed;
}

// Of every finding: what is exact is no more than the process has really done.
static void checkExact(const Trial& trial, std::optional<uint64_t> ProcRow::* figure, uint64_t seed) {
    const auto found = trial.machine.find();
    for (auto& who : found.who) {
        if (who.mark != '=' || !who.pid || !who.role.empty()) continue;
        const auto& rows = trial.machine.interval.processes.rows;
        const auto at = std::find_if(rows.begin(), rows.end(),
                                     [&](auto& row) { return row.pid == who.pid && row.start == who.start; });
        ASSERT_NE(at, rows.end()) << "seed " << seed;
        uint64_t amount = 0;
        for (auto& row : rows)
            if (who.count > 1 ? row.name == who.name && (row.*figure).value_or(0) > 0 : &row == &*at)
                amount += (row.*figure).value_or(0);
        EXPECT_EQ(who.amount, amount) << "seed " << seed;
    }
}

TEST(WhyTrials, WriterToADisk) {
    for (const bool groups : {false, true})
        for (const bool files : {false, true})
            trials("writer", [&](uint64_t seed) {
                Trial trial(seed);
                auto& machine = trial.machine;
                const uint64_t speed = trial.between(20, 500) * MiB;
                machine.pressure("io", static_cast<double>(trial.between(20, 100)), 15);
                machine.disk("sdb", "8:16", static_cast<double>(speed) / MiB,
                             static_cast<double>(trial.between(25, 900)), static_cast<double>(trial.between(2, 100)));
                machine.disk("sdc", "8:32", static_cast<double>(speed) / MiB * 2, 2, 0.5);
                trial.crowd();
                trial.decoy("cached", "/cache").read_chars = trial.between(1, 40) * GiB;
                auto& other = trial.decoy("elsewhere", "/other");
                other.write_bytes = other.written_recently = speed * 3;
                auto& holder = trial.decoy("holder", "/other");
                holder.cpu_us = 5;
                auto& database = trial.decoy("database", "/db");
                database.write_bytes = speed / 12, database.written_recently = speed;
                auto& writer = trial.process("writer", "/w");
                writer.write_bytes = speed * trial.between(10, 40) / 10,
                writer.written_recently = *writer.write_bytes * 17;
                trial.culprit = writer.pid;
                trial.crowd();
                // Without files nothing tells that the other process writes to another disk, but the groups.
                if (files || !groups) machine.file(other, "/other/file", "sdc", *other.write_bytes);
                if (files) {
                    machine.file(writer, "/srv/file", "sdb", *writer.write_bytes);
                    machine.file(database, "/srv/db", "sdb", 0).evidence = "written";
                }
                if (groups) {
                    machine.groupIo("/w", "8:16", speed * 2 * 9 / 10);
                    machine.groupIo("/db", "8:16", speed * 2 / 12);
                    machine.groupIo("/other", "8:32", *other.write_bytes);
                }
                return trial.judge("DISK", groups ? files ? "groups and files" : "groups" : "files", seed);
            });
}

TEST(WhyTrials, ReaderOfADisk) {
    trials("reader", [](uint64_t seed) {
        Trial trial(seed);
        auto& machine = trial.machine;
        machine.pressure("io", 60, 20);
        auto& disk = machine.disk("sda", "8:0", 1, 1, static_cast<double>(trial.between(2, 60)));
        const uint64_t bytes = trial.between(10, 400) * MiB;
        disk.reads = 500, disk.read_us = 500 * trial.between(25, 300) * 1000, disk.read_bytes = bytes;
        trial.crowd();
        trial.decoy("cached").read_chars = bytes * 50;
        auto& writer = trial.decoy("writer");
        writer.write_bytes = writer.written_recently = bytes * 20;
        auto& small = trial.decoy("small");
        small.read_bytes = bytes / 4, small.read_chars = bytes / 4;
        auto& reader = trial.process("reader");
        reader.read_bytes = bytes * 6 / 10;
        trial.culprit = reader.pid;
        trial.crowd();
        return trial.judge("DISK", "reader", seed);
    });
}

TEST(WhyTrials, MemoryThatGrows) {
    trials("leak", [](uint64_t seed) {
        Trial trial(seed);
        auto& machine = trial.machine;
        machine.memory().available = GiB;
        machine.pressure("memory", static_cast<double>(trial.between(0, 90)), 1);
        trial.crowd();
        auto& large = trial.decoy("large");
        large.rss = large.anonymous = 50 * GiB, large.growth = 0, large.cpu_us = 2 * Second;
        auto& victim = trial.decoy("victim");
        victim.growth = 0, victim.swap = 5 * GiB, victim.major_faults = trial.between(10, 5000);
        auto& leak = trial.process("leak");
        leak.growth = static_cast<int64_t>(trial.between(4, 500) * MiB), leak.anonymous = 2 * GiB;
        trial.culprit = leak.pid;
        trial.decoy("grows less").growth = *leak.growth / 3;
        trial.crowd();
        return trial.judge("MEMORY", "leak", seed);
    });
}

TEST(WhyTrials, CpuHog) {
    trials("hog", [](uint64_t seed) {
        Trial trial(seed);
        auto& machine = trial.machine;
        machine.busy(100);
        machine.pressure("cpu", static_cast<double>(trial.between(21, 100)), 0);
        trial.crowd();
        const uint64_t hogged = trial.between(12, 20) * Second;
        auto& nice = trial.decoy("nice", "/nice");
        nice.nice = static_cast<int64_t>(trial.between(1, 19)), nice.cpu_us = 30 * Second - hogged;
        auto& throttled = trial.decoy("throttled", "/quota");
        throttled.cpu_us = Second, throttled.wait_us = 30 * Second;
        auto& group = machine.group("/quota");
        group.periods = 20, group.throttled_periods = 19, group.quota = 0.5, group.cpu_us = Second;
        auto& hog = trial.process("hog", "/hog");
        hog.cpu_us = hogged, hog.threads = 10;
        trial.culprit = hog.pid;
        trial.crowd();
        checkExact(trial, &ProcRow::cpu_us, seed);
        return trial.judge("CPU", "hog", seed);
    });
}

TEST(WhyTrials, Quota) {
    trials("quota", [](uint64_t seed) {
        Trial trial(seed);
        auto& machine = trial.machine;
        machine.pressure("cpu", static_cast<double>(trial.between(0, 100)), 0);
        const double quota = static_cast<double>(trial.between(5, 80)) / 10;
        auto& group = machine.group("/pod/box");
        group.periods = 20, group.throttled_periods = trial.between(3, 20), group.quota = quota;
        group.cpu_us = static_cast<uint64_t>(quota * 2 * Second);
        trial.decoy("outside", "/pod/boxer").cpu_us = 20 * Second;
        trial.crowd();
        auto& worker = trial.process("worker", "/pod/box");
        worker.cpu_us = *group.cpu_us * 6 / 10;
        trial.culprit = worker.pid;
        trial.decoy("waits", "/pod/box/inner").wait_us = 20 * Second;
        trial.decoy("beside", "/pod/box").cpu_us = *group.cpu_us * 3 / 10;
        checkExact(trial, &ProcRow::cpu_us, seed);
        return trial.judge("QUOTA", "quota", seed);
    });
}

TEST(WhyTrials, Forks) {
    for (const bool counted : {false, true})
        trials("forks", [&](uint64_t seed) {
            Trial trial(seed);
            auto& machine = trial.machine;
            const uint64_t forks = trial.between(1100, 20000);
            machine.cpu().forks = forks;
            trial.crowd();
            trial.decoy("hog").cpu_us = 8 * Second;
            auto& storm = trial.process("storm");
            storm.children_us = forks * trial.between(100, 2000); // of any lifetime
            trial.culprit = storm.pid;
            auto& build = trial.decoy("make");
            build.children_us = *storm.children_us / 3; // long ones that ended are counted, too
            if (counted) {
                const std::pair<const ProcRow*, uint64_t> ended[] = {{&build, forks / 10}, {&storm, forks * 8 / 10}};
                for (auto& [parent, count] : ended) {
                    ChurnRow churn;
                    churn.parent = parent->pid, churn.parent_start = parent->start, churn.ended = count;
                    churn.command = "sh";
                    WhyMachine::put(machine.interval.churn, churn);
                }
                build.children_us = *storm.children_us * 9; // few of them, but long ones
            }
            trial.crowd();
            return trial.judge("FORKS", counted ? "counted forks" : "forks", seed);
        });
}

TEST(WhyTrials, GrowthOfAFilesystem) {
    trials("filesystem", [](uint64_t seed) {
        Trial trial(seed);
        auto& machine = trial.machine;
        FsRow fs;
        fs.point = "/srv", fs.device = "8:17", fs.used = 900 * GiB, fs.available = 100 * GiB;
        const uint64_t grown = trial.between(1, 800) * MiB;
        fs.growth = static_cast<int64_t>(grown), fs.full_in_s = 1000, fs.growth_rate = static_cast<double>(grown) / 2;
        WhyMachine::put(machine.interval.filesystems, fs);
        trial.crowd();
        auto& overwrites = trial.decoy("overwrites");
        overwrites.write_bytes = grown * 20;
        machine.file(overwrites, "/srv/table", "sdb", grown * 20).mount = "/srv";
        auto& elsewhere = trial.decoy("elsewhere");
        auto& file = machine.file(elsewhere, "/home/x", "sda", grown * 9);
        file.mount = "/home", file.growth = static_cast<int64_t>(grown * 9);
        auto& grows = trial.process("grows");
        auto& own = machine.file(grows, "/srv/log", "sdb", grown);
        own.mount = "/srv", own.growth = static_cast<int64_t>(grown * 9 / 10);
        trial.culprit = grows.pid;
        trial.crowd();
        return trial.judge("FS", "growth", seed);
    });
}

// Whatever an interval holds: shares make 100, ranks follow each other, and no figure is lost on the way.
TEST(WhyTrials, SharesAlwaysMakeAHundred) {
    const uint64_t seed = std::random_device()();
    for (uint64_t i = 0; i < 300; i++) {
        Trial trial(seed + i);
        auto& machine = trial.machine;
        machine.busy(static_cast<double>(trial.between(0, 100)));
        for (auto* resource : {"cpu", "memory", "io"})
            machine.pressure(resource, static_cast<double>(trial.between(0, 100)),
                             static_cast<double>(trial.between(0, 100)));
        machine.disk("sda", "8:0", static_cast<double>(trial.between(0, 500)),
                     static_cast<double>(trial.between(0, 90)), static_cast<double>(trial.between(0, 9)));
        machine.memory().available = trial.between(0, 64) * GiB;
        machine.cpu().forks = trial.between(0, 5000);
        for (int j = 0; j < 30; j++) {
            auto& row = trial.process("p", j % 2 ? "/a" : "/b/c");
            row.cpu_us = trial.between(0, 4) * Second, row.children_us = trial.between(0, 2) * Second;
            row.write_bytes = trial.between(0, 900) * MiB, row.read_bytes = trial.between(0, 900) * MiB;
            row.growth = static_cast<int64_t>(trial.between(0, 900) * MiB) - 450 * static_cast<int64_t>(MiB);
            row.nice = static_cast<int64_t>(trial.between(0, 2)), row.anonymous = trial.between(0, 9) * GiB;
        }
        machine.groupIo("/a", "8:0", trial.between(0, 500) * MiB);
        machine.groupIo("/", "8:0", trial.between(0, 900) * MiB);
        const auto found = machine.find();
        for (auto& why : found.why) {
            uint64_t shares = 0, amounts = 0;
            for (auto& who : found.who)
                if (who.rank == why.rank) {
                    shares += who.share, amounts += who.amount;
                    EXPECT_LE(who.share, 100U);
                }
            EXPECT_EQ(shares, 100U) << why.rule << ", seed " << seed + i;
            EXPECT_NEAR(static_cast<double>(amounts), static_cast<double>(why.total),
                        static_cast<double>(why.total) / 20 + 50)
                << why.rule << ", seed " << seed + i;
        }
    }
}

// Most of those that are blocked wait for the disk that the culprit writes to; it is below its limits.
TEST(WhyTrials, BlockedByAWriter) {
    for (const bool functions : {false, true})
        for (const bool files : {false, true})
            trials("blocked", [&](uint64_t seed) {
                Trial trial(seed);
                auto& machine = trial.machine;
                const uint64_t speed = trial.between(20, 500) * MiB;
                machine.pressure("io", static_cast<double>(trial.between(20, 90)), 15);
                machine.disk("sdb", "8:16", static_cast<double>(speed) / MiB, static_cast<double>(trial.between(2, 18)),
                             static_cast<double>(trial.between(2, 10)));
                machine.disk("sdc", "8:32", static_cast<double>(speed) / MiB * 3, 2, 0.5);
                trial.crowd();
                trial.decoy("cached").read_chars = trial.between(1, 40) * GiB;
                auto& other = trial.decoy("elsewhere");
                other.write_bytes = speed * 6;
                machine.file(other, "/other/file", "sdc", *other.write_bytes);
                auto& writer = trial.process("writer");
                writer.write_bytes = speed * trial.between(16, 24) / 10;
                trial.culprit = writer.pid;
                if (files) machine.file(writer, "/srv/file", "sdb", *writer.write_bytes);
                const uint64_t waiting = trial.between(8, 40), others = trial.between(0, waiting / 3);
                for (uint64_t i = 0; i < waiting + others; i++) {
                    auto& process = trial.process(i < waiting ? "database" : "scanner");
                    process.state = 'D';
                    if (i >= waiting) process.wait_channel = "usb_sg_wait";
                    else if (functions) process.wait_channel = trial.between(0, 1) ? "io_schedule" : "folio_wait_bit";
                }
                machine.cpu().blocked = waiting + others + trial.between(0, 5);
                trial.crowd();
                return trial.judge("BLOCKED", functions ? "functions" : "no functions", seed);
            });
}

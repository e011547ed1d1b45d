// Trouble with CPUs, memory and forks 50 times each; what is marked as exact is what it has done.
#include "tests/unit/whytrial.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <random>
#include <utility>

#include <gtest/gtest.h>

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

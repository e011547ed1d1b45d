// Processes that ran, began and ended, and how they are found.
#include "tests/unit/processmachine.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

// The members that a process does not name have their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

TEST(ProcessRows, WhatRan) {
    const MadeProcess idle{.pid = 7}, busy{.pid = 100};
    auto later = busy;
    later.cpu_ns += 250000000, later.user += 20, later.system += 5, later.write_bytes = 4096;
    ProcessMachine machine(MadeTicks().text() + busy.text() + idle.text() + "step 1\n" + later.text());
    ASSERT_EQ(machine.sampler.ran().size(), 2U); // the first sample has all
    EXPECT_EQ(machine.sampler.ran()[0].pid, 7);
    EXPECT_TRUE(machine.sampler.ran()[0].fresh);
    EXPECT_FALSE(machine.sampler.ran()[0].wrote);

    const auto result = machine.next();
    ASSERT_EQ(machine.sampler.ran().size(), 1U);
    const auto& ran = machine.sampler.ran()[0];
    EXPECT_EQ(ran.pid, 100);
    EXPECT_EQ(ran.start, 5000U);
    EXPECT_EQ(ran.threads, 1U);
    EXPECT_EQ(ran.state, 'S');
    EXPECT_FALSE(ran.fresh);
    EXPECT_TRUE(ran.wrote);

    ASSERT_EQ(result.processes.rows.size(), 1U);
    const auto& row = result.processes.rows[0];
    EXPECT_EQ(row.name, "worker");
    EXPECT_EQ(row.command, "/usr/bin/worker --all");
    EXPECT_EQ(row.unit, "worker.service");
    EXPECT_EQ(row.cgroup, "/system.slice/worker.service");
    EXPECT_EQ(row.user, "0"); // an account without a name
    EXPECT_TRUE(row.ran);
    EXPECT_FALSE(row.kernel || row.io_shared);
    EXPECT_EQ(row.cpu_us, 250000U);
    EXPECT_EQ(row.user_us, 200000U);
    EXPECT_EQ(row.system_us, 50000U);
    EXPECT_EQ(row.write_bytes, 4096U);
    EXPECT_EQ(row.read_bytes, 0U);
    EXPECT_EQ(row.written_recently, 4096U);
    EXPECT_EQ(row.rss, 4000U << 10);
    EXPECT_EQ(row.anonymous, 3000U << 10);
    EXPECT_EQ(row.children_us, 0U);
    EXPECT_FALSE(row.block_us); // the kernel does not count it
    EXPECT_EQ(row.descriptor_limit, 1024U);
    EXPECT_EQ(row.oom_adjust, -17);
    EXPECT_EQ(row.oom_score, 667);
    EXPECT_EQ(result.total().accounted_us, 250000U);
    EXPECT_EQ(result.total().processes, 2U);
    EXPECT_EQ(result.total().threads, 2U);
    EXPECT_EQ(result.total().ran, 1U);
    EXPECT_EQ(result.total().started, 0U);
}

TEST(ProcessRows, NothingBeforeTheSecondSample) {
    Made made(MadeTicks().text() + MadeProcess().text());
    Helper helper;
    ProcSampler sampler{Root(), helper};
    ProcSample sample;
    sampler.sample(sample);
    ProcessResult result;
    processRows(sample, true, result.all, result.processes, result.starts, result.exits);
    EXPECT_FALSE(result.all.sampled);
    EXPECT_TRUE(result.processes.rows.empty());
}

TEST(ProcessRows, WithoutProc) {
    ProcessMachine machine("step 1\n" + MadeProcess().text() + "step 2\n");
    EXPECT_TRUE(machine.sampler.ran().empty());
    EXPECT_FALSE(machine.next().all.sampled); // there is nothing to compare it with
    EXPECT_TRUE(machine.next().all.sampled);
}

TEST(ProcessRows, TheFirstIntervalOfALogHasAll) {
    ProcessMachine machine(MadeTicks().text() + MadeProcess{.pid = 7}.text() + "step 1\nstep 2\n");
    const auto first = machine.next(true);
    ASSERT_EQ(first.processes.rows.size(), 1U);
    const auto& row = first.processes.rows[0];
    EXPECT_FALSE(row.ran);
    EXPECT_EQ(row.cpu_us, 0U);
    EXPECT_EQ(row.read_bytes, 0U);
    EXPECT_EQ(row.wait_us, 0U);
    EXPECT_EQ(row.minor_faults, 0U);
    EXPECT_EQ(row.growth, 0);
    EXPECT_TRUE(machine.next().processes.rows.empty());
}

TEST(ProcessRows, BornItsCountersAreItsAmounts) {
    // 100 s since boot at first: 10,000 ticks.
    const MadeProcess child{.pid = 200,
                            .parent = 100,
                            .name = "child",
                            .start = 10050,
                            .cpu_ns = 30000000,
                            .user = 2,
                            .system = 1,
                            .write_bytes = 512};
    ProcessMachine machine(MadeTicks().text() + MadeProcess{.pid = 100}.text() + "step 1\n" + child.text());
    const auto result = machine.next();
    const auto* row = result.find(200);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->cpu_us, 30000U);
    EXPECT_EQ(row->user_us, 20000U);
    EXPECT_EQ(row->write_bytes, 512U);
    EXPECT_EQ(row->wait_us, 1U);
    EXPECT_EQ(row->minor_faults, 100U);
    EXPECT_EQ(row->voluntary, 5U);
    EXPECT_EQ(row->growth, 3000 << 10);
    EXPECT_EQ(result.total().started, 1U);
    EXPECT_EQ(result.total().accounted_us, 30000U);
    ASSERT_EQ(result.starts.rows.size(), 1U);
    EXPECT_EQ(result.starts.rows[0].pid, 200U);
    EXPECT_EQ(result.starts.rows[0].start, 10050U);
    EXPECT_EQ(result.starts.rows[0].name, "child");
    EXPECT_EQ(result.starts.rows[0].parent, 100U);
    EXPECT_EQ(result.starts.rows[0].command, "/usr/bin/worker --all");
    ASSERT_EQ(machine.sampler.ran().size(), 1U);
    EXPECT_TRUE(machine.sampler.ran()[0].fresh && machine.sampler.ran()[0].wrote);
}

TEST(ProcessRows, OneThatWasHiddenIsNotBorn) {
    ProcessMachine machine(MadeTicks().text() + MadeProcess{.pid = 100}.text() + "step 1\n" +
                           MadeProcess{.pid = 200, .start = 50}.text());
    const auto result = machine.next();
    const auto* row = result.find(200);
    ASSERT_TRUE(row);
    EXPECT_FALSE(row->cpu_us || row->write_bytes || row->wait_us || row->minor_faults || row->growth);
    EXPECT_TRUE(result.starts.rows.empty());
    EXPECT_EQ(result.total().accounted_us, 0U);
}

TEST(ProcessRows, AReusedPidIsAnotherProcess) {
    const MadeProcess old{.pid = 200, .name = "old", .cpu_ns = 9000000000},
        other{.pid = 200, .name = "new", .start = 10020, .cpu_ns = 5000000};
    ProcessMachine machine(MadeTicks().text() + old.text() + "step 1\n" + other.text());
    const auto result = machine.next();
    const auto* row = result.find(200);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->name, "new");
    EXPECT_EQ(row->cpu_us, 5000U);
    ASSERT_EQ(result.exits.rows.size(), 1U);
    EXPECT_EQ(result.exits.rows[0].name, "old");
    EXPECT_EQ(result.exits.rows[0].start, 5000U);
    EXPECT_EQ(result.exits.rows[0].life_us, 51000000U); // 101 s since boot, less 50
    EXPECT_FALSE(result.exits.rows[0].code || result.exits.rows[0].cpu_us);
    EXPECT_EQ(result.starts.rows.size(), 1U);
    EXPECT_EQ(result.total().ended, 1U);
}

TEST(ProcessRows, WhatTheMachineUsed) {
    const MadeTicks before;
    auto now = before;
    now.idle += 60, now.iowait += 10, now.irq += 2, now.softirq += 3, now.user += 25; // of 100 ticks
    ProcessMachine machine(before.text() + MadeProcess().text() + "step 1\n" + now.text());
    const auto result = machine.next();
    EXPECT_EQ(result.total().used_us, 300000U);
    EXPECT_EQ(result.total().irq_us, 50000U);
}

TEST(ProcessRows, WrittenInTheLast35Seconds) {
    MadeProcess writer{.pid = 100};
    std::string lines = MadeTicks().text() + writer.text() + "step 1\n";
    writer.cpu_ns++, writer.write_bytes = 1000;
    lines += writer.text();
    for (int i = 2; i <= 50; i++) lines += "step " + std::to_string(i) + "\n";
    ProcessMachine machine(lines);
    for (int second = 0; second <= 35; second++) {
        const auto result = machine.next();
        ASSERT_TRUE(result.find(100)) << second;
        EXPECT_EQ(result.find(100)->written_recently, 1000U);
        EXPECT_EQ(result.find(100)->ran, second == 0);
    }
    EXPECT_FALSE(machine.next().find(100));
}

TEST(ProcessRows, NewPidsAreLookedForWithoutTheDirectory) {
    const auto last = [](int pid) {
        return "file /proc/loadavg <<END\n0.10 0.20 0.30 1/80 " + std::to_string(pid) + "\nEND\n";
    };
    std::string lines = last(300) + MadeTicks().text();
    for (int pid = 100; pid < 120; pid++) lines += MadeProcess{.pid = pid}.text();
    lines += "step 1\n" + last(303) + MadeProcess{.pid = 302, .start = 10050}.text();
    // A number that was not given out in order is found when the directory is read.
    lines += "step 2\n" + last(303) + MadeProcess{.pid = 90, .start = 10150}.text() + gone(302);
    for (int i = 3; i < 20; i++) lines += "step " + std::to_string(i) + "\n";
    ProcessMachine machine(lines);
    EXPECT_TRUE(machine.next().find(302));
    const auto result = machine.next();
    EXPECT_EQ(result.exits.rows.size(), 1U);
    EXPECT_FALSE(result.find(90));
    bool found = false;
    for (int i = 3; i < 20 && !found; i++) found = machine.next().find(90) != nullptr;
    EXPECT_TRUE(found);
}

// As many forks as there are pids lead back to where they were.
TEST(ProcessRows, PidsThatHaveBegunAgain) {
    const auto forks = [](uint64_t number) {
        return "file /proc/loadavg <<END\n0.10 0.20 0.30 1/80 300\nEND\n" + MadeTicks{.forks = number}.text();
    };
    std::string lines = forks(1000);
    for (int pid = 100; pid < 120; pid++) lines += MadeProcess{.pid = pid}.text();
    lines += "step 1\n" + forks(1200) + "step 2\n" + forks(33768) + MadeProcess{.pid = 90, .start = 10150}.text();
    ProcessMachine machine(lines);
    machine.next();
    EXPECT_TRUE(machine.next().find(90));
}

// Levels of processes, such as memory, and when they are read again.
#include "tests/unit/processmachine.h"

#include <string>

#include <gtest/gtest.h>

// The members that a process does not name have their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

TEST(ProcessRows, MemoryIsReadWhenFaultsMoved) {
    MadeProcess before{.pid = 100};
    auto quiet = before, grown = before;
    quiet.cpu_ns += 1000, quiet.anonymous_kib = 9000;
    grown.cpu_ns += 2000, grown.anonymous_kib = 5000, grown.swap_kib = 1000, grown.rss_kib = 6000,
                          grown.minor_faults = 300;
    std::string lines = MadeTicks().text() + before.text();
    for (int i = 1; i <= 3; i++) { // until nothing of a new process is read again
        before.cpu_ns += 100;
        lines += "step " + std::to_string(i) + "\n" + before.text();
    }
    quiet.cpu_ns += 1000, grown.cpu_ns += 1000;
    // Others take the turn.
    for (int pid = 1000; pid < 1100; pid++) lines = MadeProcess{.pid = pid}.text() + lines;
    ProcessMachine machine(lines + "step 4\n" + quiet.text() + "step 5\n" + grown.text());
    for (int i = 1; i <= 3; i++) machine.next();
    auto result = machine.next();
    const auto* row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->anonymous, 3000U << 10); // as it was
    EXPECT_EQ(row->growth, 0);
    EXPECT_EQ(row->memory_age_us, 2000000U);
    EXPECT_FALSE(row->voluntary);
    result = machine.next();
    row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->anonymous, 5000U << 10);
    EXPECT_EQ(row->swap, 1000U << 10);
    EXPECT_EQ(row->growth, 3000 << 10);
    EXPECT_EQ(row->memory_age_us, 0U);
    EXPECT_EQ(row->minor_faults, 200U);
}

TEST(ProcessRows, TheLargestAreReadWhileMemoryIsTaken) {
    const auto vmstat = [](int stolen) {
        return "file /proc/vmstat <<END\npgsteal_kswapd " + std::to_string(stolen) + "\npswpout 0\noom_kill 0\nEND\n";
    };
    MadeProcess large{.pid = 100, .rss_kib = 900000, .anonymous_kib = 800000};
    auto swapped = large;
    swapped.anonymous_kib = 500000, swapped.swap_kib = 300000, swapped.rss_kib = 600000;
    std::string lines;
    for (int pid = 1000; pid < 1100; pid++) lines += MadeProcess{.pid = pid}.text();
    ProcessMachine machine(vmstat(5) + MadeTicks().text() + lines + large.text() + "step 1\n" + swapped.text() +
                           "step 2\n" + vmstat(9));
    // Its turn has not come when nothing is taken away: the first four have had it.
    machine.next();
    const auto result = machine.next(true);
    const auto* row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->swap, 300000U << 10);
    EXPECT_EQ(row->memory_age_us, 0U);
    EXPECT_EQ(row->growth, 0); // swapped out, not grown
}

TEST(ProcessRows, LevelsAreReadInTurn) {
    MadeProcess idle{.pid = 100};
    auto later = idle;
    later.nice = 10, later.rss_kib = 2000, later.anonymous_kib = 1000,
    later.group = "/user.slice/user-0.slice/session-3.scope";
    ProcessMachine machine(MadeTicks().text() + idle.text() + "step 1\n" + later.text() + "step 2\n");
    const auto result = machine.next();
    const auto* row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_FALSE(row->ran);
    EXPECT_EQ(row->nice, 10);
    EXPECT_EQ(row->growth, -(2000 << 10));
    EXPECT_EQ(row->unit, "session-3.scope");
    EXPECT_TRUE(machine.next().processes.rows.empty());
}

TEST(ProcessRows, OneThatIsEndingHasGivenItsMemoryBack) {
    MadeProcess before{.pid = 100};
    auto zombie = before;
    zombie.cpu_ns += 1, zombie.state = 'Z', zombie.rss_kib = 0;
    const std::string status =
        "file /proc/100/status <<END\nName:\tworker\nUid:\t0\t0\t0\t0\nEND\ntext /proc/100/cmdline \"\"\n";
    ProcessMachine machine(MadeTicks().text() + before.text() + "step 1\n" + zombie.text() + status);
    const auto result = machine.next();
    const auto* row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->state, 'Z');
    EXPECT_EQ(row->growth, -(3000 << 10));
    EXPECT_EQ(row->anonymous, 0U);
    EXPECT_EQ(row->command, "/usr/bin/worker --all");
    EXPECT_EQ(result.total().zombies, 1U);
}

TEST(ProcessRows, TheFirstThreadEndedBeforeTheOthers) {
    const MadeProcess before{.pid = 100, .state = 'Z', .threads = 3};
    auto now = before;
    now.cpu_ns += 5000;
    ProcessMachine machine(MadeTicks().text() + before.text() + "step 1\n" + now.text());
    const auto result = machine.next();
    EXPECT_EQ(result.find(100)->cpu_us, 5U);
    EXPECT_EQ(result.total().zombies, 0U);
}

TEST(ProcessRows, KernelThreads) {
    MadeProcess before{.pid = 2, .parent = 0, .name = "kworker/0:1-events", .state = 'I', .flags = 0x200040};
    auto now = before;
    now.cpu_ns += 7000, now.name = "kworker/0:1-mm_percpu_wq";
    ProcessMachine machine(MadeTicks().text() + before.text() + "step 1\n" + now.text());
    const auto result = machine.next();
    const auto* row = result.find(2);
    ASSERT_TRUE(row);
    EXPECT_TRUE(row->kernel);
    EXPECT_EQ(row->name, "kworker/0:1-mm_percpu_wq");
    EXPECT_EQ(row->command, "");
    EXPECT_FALSE(row->rss || row->anonymous || row->growth || row->memory_age_us || row->descriptor_limit);
    EXPECT_FALSE(machine.sampler.ran()[0].fresh); // its name changes with its work
}

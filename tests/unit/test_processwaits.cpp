// Waits of processes: for a CPU, for a disk, and where they are blocked.
#include "tests/unit/processmachine.h"

#include <string>

#include <gtest/gtest.h>

// The members that a process does not name have their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

TEST(ProcessRows, AWaitIsBookedWhileItLasts) {
    MadeProcess ready{.pid = 100, .state = 'R', .wait_ns = 1000};
    auto ran = ready;
    ran.cpu_ns += 1000000, ran.wait_ns = 2500000000; // the kernel books the whole wait when it ends
    ProcessMachine machine(MadeTicks().text() + ready.text() + "step 1\nstep 2\nstep 3\n" + ran.text());
    for (int i = 0; i < 2; i++) {
        const auto result = machine.next();
        const auto* row = result.find(100);
        ASSERT_TRUE(row);
        EXPECT_EQ(row->wait_us, 1000000U);
        EXPECT_EQ(row->cpu_us, 0U);
        EXPECT_FALSE(row->ran);
        EXPECT_EQ(result.total().runnable, 1U);
    }
    EXPECT_EQ(machine.next().find(100)->wait_us, 499999U);
}

TEST(ProcessRows, WaitsOfThreads) {
    MadeProcess before{.pid = 100, .threads = 3, .wait_ns = 1000000}; // each
    auto now = before;
    now.cpu_ns += 1, now.threads = 4, now.wait_ns = 3000000; // one is new
    ProcessMachine machine(MadeTicks().text() + before.text() + "step 1\n" + now.text());
    EXPECT_EQ(machine.next().find(100)->wait_us, 3 * 2000U + 3000U);
}

TEST(ProcessRows, TheFirstThreadGetsCompany) {
    MadeProcess before{.pid = 100, .wait_ns = 1000000};
    auto now = before;
    now.cpu_ns += 1, now.threads = 2, now.wait_ns = 5000000;
    ProcessMachine machine(MadeTicks().text() + before.text() + "step 1\n" + now.text());
    EXPECT_EQ(machine.next().find(100)->wait_us, 4000U + 5000U);
}

TEST(ProcessRows, OneThatWasWokenAndDoesNotRunIsSearchedFor) {
    MadeProcess asleep{.pid = 100}, woken{.pid = 100, .state = 'R'};
    ProcessMachine machine(MadeTicks{.running = 1}.text() + asleep.text() + "step 1\n" + woken.text() +
                           "step 2\nstep 3\n");
    machine.next();
    EXPECT_EQ(machine.next().find(100)->wait_us, 1000000U);
}

TEST(ProcessRows, WaitsThatTheKernelDoesNotCount) {
    const MadeProcess before{.pid = 100};
    auto now = before;
    now.cpu_ns += 1;
    const std::string none = "gone /proc/100/schedstat\n";
    ProcessMachine machine(MadeTicks().text() + before.text() + none + "step 1\n" + now.text() + none);
    const auto result = machine.next();
    EXPECT_FALSE(result.find(100)->wait_us);
    EXPECT_EQ(result.find(100)->cpu_us, 0U);
}

TEST(ProcessRows, WhereItIsBlocked) {
    const auto channel = [](int pid, const char* name) {
        return "text /proc/" + std::to_string(pid) + "/wchan \"" + name + "\"\n";
    };
    MadeProcess reader{.pid = 100, .state = 'D'}, secret{.pid = 200, .state = 'D'}, asleep{.pid = 300};
    std::string lines = MadeTicks().text() + reader.text() + secret.text() + asleep.text() +
                        channel(100, "folio_wait_bit_common") + channel(200, "0") + channel(300, "do_wait") +
                        "step 1\nstep 2\n";
    reader.cpu_ns++;
    lines += reader.text() + channel(100, "rpc_wait_bit_killable") + "step 3\n";
    reader.cpu_ns++, reader.state = 'S';
    ProcessMachine machine(lines + reader.text());
    auto result = machine.next(true); // it has not run: it is still there
    EXPECT_EQ(result.find(100)->wait_channel, "folio_wait_bit_common");
    EXPECT_EQ(result.find(200)->wait_channel, "");
    EXPECT_EQ(result.find(300)->wait_channel, "");
    EXPECT_EQ(machine.next().find(100)->wait_channel, "rpc_wait_bit_killable");
    EXPECT_EQ(machine.next().find(100)->wait_channel, "");
}

TEST(ProcessRows, BlockDelayWhereTheKernelCountsIt) {
    MadeProcess before{.pid = 100};
    auto now = before;
    now.cpu_ns += 1, now.block = 7;
    ProcessMachine machine("file /proc/sys/kernel/task_delayacct <<END\n1\nEND\n" + MadeTicks().text() + before.text() +
                           "step 1\n" + now.text());
    EXPECT_EQ(machine.next().find(100)->block_us, 70000U);
}

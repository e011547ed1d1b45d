// Processes of which not everything may be read.
#include "tests/unit/processmachine.h"

#include <string>

#include <gtest/gtest.h>

// The members that a process does not name have their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

TEST(ProcessRows, AnOrdinaryUser) {
    const MadeProcess before{.pid = 100, .uid = 1000};
    auto now = before;
    now.cpu_ns += 2000;
    const std::string refused = "fail open /proc/100/io EACCES\nuser 1000 alice\n";
    ProcessMachine machine(MadeTicks().text() + before.text() + refused + "step 1\n" + now.text());
    const auto result = machine.next();
    const auto* row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->cpu_us, 2U);
    EXPECT_EQ(row->user, "alice");
    EXPECT_FALSE(row->read_bytes || row->write_chars || row->written_recently);
    EXPECT_EQ(result.total().without_io, 1U);
}

TEST(ProcessRows, HiddenFiles) { // hidepid=1: the directory is listed, its files may not be read
    std::string refused;
    for (const char* file : {"stat", "status", "io", "schedstat", "cgroup", "cmdline"})
        refused += "fail open /proc/100/" + std::string(file) + " EACCES\n";
    const MadeProcess before{.pid = 100};
    ProcessMachine machine(MadeTicks().text() + before.text() + refused + "step 1\ncpuclock 100 1000500000\nstep 2\n" +
                           "cpuclock 100 2000\n");
    auto result = machine.next();
    const auto* row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->cpu_us, 500U);
    EXPECT_EQ(row->start, 0U);
    EXPECT_FALSE(row->threads || row->user_us || row->wait_us);
    result = machine.next(); // the clock fell: another process
    EXPECT_EQ(result.find(100)->cpu_us, 2U);
    EXPECT_EQ(result.exits.rows.size(), 1U);
}

TEST(ProcessRows, WithoutClocks) { // the pids of /proc are those of another namespace
    MadeProcess idle{.pid = 50}, one{.pid = 100}, several{.pid = 200, .threads = 2};
    auto later = one, more = several;
    later.cpu_ns += 5000000;
    more.cpu_ns += 8000000, more.user += 3;
    ProcessMachine machine("nocpuclocks\n" + MadeTicks().text() + idle.text() + one.text() + several.text() +
                           "step 1\n" + later.text() + more.text());
    const auto result = machine.next();
    EXPECT_FALSE(result.find(50));
    EXPECT_EQ(result.find(100)->cpu_us, 5000U);
    EXPECT_EQ(result.find(200)->cpu_us, 30000U); // by ticks: threads that ended are in these only
    EXPECT_EQ(result.total().ran, 2U);
}

TEST(ProcessRows, WithoutClocksAThreadJoins) {
    MadeProcess one{.pid = 100};
    auto several = one;
    several.threads = 2, several.cpu_ns += 10000000, several.user += 1;
    ProcessMachine machine("nocpuclocks\n" + MadeTicks().text() + one.text() + "step 1\n" + several.text());
    EXPECT_EQ(machine.next().find(100)->cpu_us, 10000U);
}

TEST(ProcessRows, WithoutClocksAndSchedstat) {
    const std::string none = "gone /proc/100/schedstat\ngone /proc/200/schedstat\n";
    MadeProcess idle{.pid = 100}, busy{.pid = 200};
    auto later = busy;
    later.user += 7;
    ProcessMachine machine("nocpuclocks\n" + MadeTicks().text() + idle.text() + busy.text() + none + "step 1\n" +
                           later.text() + none);
    const auto result = machine.next();
    EXPECT_FALSE(result.find(100));
    EXPECT_EQ(result.find(200)->cpu_us, 70000U);
}

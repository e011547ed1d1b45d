// The files of processes that run all the time: they stay open, and tell of the right process.
#include "model/proc.h"
#include "sample/proc.h"
#include "tests/unit/made.h"
#include "tests/unit/process.h"
#include "tests/world/devices.h"

#include <string>

#include <gtest/gtest.h>

// The members that a process does not name have their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {
constexpr int Steps = 8; // more than are waited for until files stay open

// A process that works in each step for 10 ms of CPU, writes 512 bytes and faults once. What it is after all of them.
struct Busy {
    MadeProcess now;
    std::string lines;
    void work() {
        now.cpu_ns += 10000000, now.user += 1, now.write_bytes += 512, now.minor_faults += 1, now.wait_ns += 1000000;
        lines += now.text();
    }
    explicit Busy(int pid) : now{.pid = pid} {
        lines = MadeTicks().text() + MadeProcess{.pid = 7}.text() + now.text();
        for (int step = 1; step <= Steps; step++) lines += "step " + std::to_string(step) + "\n", work();
        lines += "step " + std::to_string(Steps + 1) + "\n";
    }
};

// The machine after the steps in which the worker worked, and the rows of each further step.
struct Watch {
    Made made;
    Helper helper;
    ProcSampler sampler{Root(), helper};
    ProcSample sample;
    size_t openAtFirst = 0;
    Rows<ProcRow> rows;
    Rows<StartRow> starts;
    Rows<ExitRow> exits;

    static size_t openFiles() { return World::current->devices.held.size(); }
    explicit Watch(const std::string& lines) : made("boot 100\n" + lines) {
        sampler.sample(sample);
        openAtFirst = openFiles();
        for (int step = 0; step < Steps; step++) next();
    }
    void next() {
        made.step();
        sampler.sample(sample);
        rows.clear(), starts.clear(), exits.clear();
        Rows<ProcsRow> all;
        processRows(sample, false, all, rows, starts, exits);
    }
    size_t opened() const { return openFiles() - openAtFirst; }
};
} // namespace

TEST(HeldProcesses, WorkOnIsSeen) {
    Busy worker(100);
    worker.work();
    Watch watch(worker.lines);
    EXPECT_EQ(watch.opened(), 4U); // stat, schedstat, io, status
    watch.next();
    ASSERT_EQ(watch.rows.rows.size(), 1U);
    const auto& row = watch.rows.rows[0];
    EXPECT_EQ(row.cpu_us, 10000U);
    EXPECT_EQ(row.wait_us, 1000U);
    EXPECT_EQ(row.write_bytes, 512U);
    EXPECT_EQ(row.minor_faults, 1U);
}

TEST(HeldProcesses, ClosedAgainWhenItRestsOrEnds) {
    Busy rests(100);
    for (int step = Steps + 2; step < Steps + 12; step++) rests.lines += "step " + std::to_string(step) + "\n";
    Watch watch(rests.lines);
    EXPECT_EQ(watch.opened(), 4U);
    for (int step = 0; step < 9; step++) watch.next();
    EXPECT_EQ(watch.opened(), 0U);

    Busy ends(100);
    Watch other(ends.lines + "gone /proc/100\ncpuclock 100 gone\n");
    EXPECT_EQ(other.opened(), 4U);
    other.next();
    EXPECT_EQ(other.opened(), 0U);
    EXPECT_EQ(other.exits.rows.size(), 1U);
}

TEST(HeldProcesses, AnotherOneHasThePid) {
    Busy worker(100);
    const MadeProcess next{.pid = 100, .name = "next", .start = 10850, .cpu_ns = 2000000, .write_bytes = 7};
    Watch watch(worker.lines + "gone /proc/100\n" + next.text());
    watch.next();
    ASSERT_EQ(watch.rows.rows.size(), 1U);
    EXPECT_EQ(watch.rows.rows[0].name, "next");
    EXPECT_EQ(watch.rows.rows[0].cpu_us, 2000U);
    EXPECT_EQ(watch.rows.rows[0].write_bytes, 7U);
    EXPECT_EQ(watch.exits.rows.size(), 1U);
    EXPECT_EQ(watch.starts.rows.size(), 1U);
    EXPECT_EQ(watch.opened(), 0U); // of the new one none stays open yet
}

// The file of its only thread has not what its children did.
TEST(HeldProcesses, ItsFirstChildIsWaitedFor) {
    Busy worker(100);
    worker.now.children_faults = 50, worker.now.children = 10, worker.now.group_write_bytes = 1 << 20;
    worker.work();
    Watch watch(worker.lines);
    watch.next();
    ASSERT_EQ(watch.rows.rows.size(), 1U);
    EXPECT_EQ(watch.rows.rows[0].write_bytes, 512U);
}

TEST(HeldProcesses, ARightIsLost) {
    Busy worker(100);
    worker.work();
    Watch watch(worker.lines + "fail read /proc/100/io EACCES\n");
    const auto denied = watch.sampler.notAllowed();
    watch.next();
    ASSERT_EQ(watch.rows.rows.size(), 1U);
    EXPECT_FALSE(watch.rows.rows[0].write_bytes);
    EXPECT_EQ(watch.rows.rows[0].cpu_us, 10000U);
    EXPECT_EQ(watch.sampler.notAllowed(), denied + 1); // counted once
}

TEST(HeldProcesses, MemoryOfAnIdleProcessThatOthersTake) {
    auto idle = MadeProcess{.pid = 7};
    std::string lines = MadeTicks().text() + idle.text();
    idle.rss_kib = 3000, idle.anonymous_kib = 2000, idle.swap_kib = 1000;
    lines += "step 1\n" + idle.text() + "step 2\n";
    Made made("boot 100\n" + lines);
    Helper helper;
    ProcSampler sampler{Root(), helper};
    ProcSample sample;
    sampler.sample(sample);
    made.step();
    sampler.sample(sample);
    EXPECT_EQ(sample.slots[sample.find(7)->slot].rss, 3000U << 10);
    EXPECT_EQ(sample.slots[sample.find(7)->slot].swap, 1000U << 10);
}

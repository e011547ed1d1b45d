// What children did, and what their parents have of it.
#include "tests/unit/processmachine.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

// The members that a process does not name have their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

TEST(ProcessRows, WhatChildrenHadBeforeIsTheirs) {
    const MadeProcess shell{.pid = 100}, job{.pid = 200, .parent = 100, .cpu_ns = 700000000};
    auto waited = shell; // it has waited for the job, which had 100 ms more, and for others
    waited.cpu_ns += 1000000, waited.children = 90, waited.children_faults = 50;
    ProcessMachine machine(MadeTicks().text() + shell.text() + job.text() + "step 1\n" + gone(200) + waited.text());
    const auto result = machine.next();
    const auto* row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->children_us, 200000U);
    EXPECT_EQ(row->cpu_us, 1000U);
    EXPECT_EQ(result.total().accounted_us, 201000U);
    EXPECT_FALSE(row->io_shared); // the figures of its only thread
}

TEST(ProcessRows, ChildrenOfAParentThatEndedToo) {
    const MadeProcess top{.pid = 100}, shell{.pid = 150, .parent = 100, .cpu_ns = 100000000},
        job{.pid = 200, .parent = 150, .cpu_ns = 700000000};
    auto waited = top;
    waited.cpu_ns += 1, waited.children = 81, waited.children_faults = 50;
    ProcessMachine machine(MadeTicks().text() + top.text() + shell.text() + job.text() + "step 1\n" + gone(150) +
                           gone(200) + waited.text());
    EXPECT_EQ(machine.next().find(100)->children_us, 10000U);
}

TEST(ProcessRows, OrphansHaveAnotherParent) {
    const MadeProcess shell{.pid = 100}, orphan{.pid = 200, .parent = 100};
    auto adopted = orphan;
    adopted.parent = 1;
    ProcessMachine machine(MadeTicks().text() + shell.text() + orphan.text() + "step 1\n" + gone(100) + adopted.text());
    const auto result = machine.next();
    const auto* row = result.find(200);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->parent, 1U);
    EXPECT_FALSE(row->ran);
    EXPECT_EQ(row->cpu_us, 0U);
}

// Only they are read again, however many others there are.
TEST(ProcessRows, OrphansAreFoundAmongManyOthers) {
    std::string lines;
    for (int pid = 1000; pid < 1300; pid++) lines += MadeProcess{.pid = pid, .parent = 900}.text();
    const MadeProcess shell{.pid = 100}, orphan{.pid = 200, .parent = 100};
    auto adopted = orphan;
    adopted.parent = 1;
    ProcessMachine machine(MadeTicks().text() + shell.text() + orphan.text() + lines + "step 1\n" + gone(100) +
                           adopted.text());
    size_t read = 0;
    machine.made.world.watch = [&](const std::string& path) {
        read += path.ends_with("/stat") && path != "/proc/stat";
    };
    ASSERT_TRUE(machine.next().find(200));
    EXPECT_LE(read, 1 + ProcSampler::LeastInTurn + ProcSampler::LeastStates); // and some in their turn
}

TEST(ProcessRows, FiguresOfSeveralThreadsHaveThoseOfChildren) {
    const MadeProcess server{.pid = 100, .threads = 3}, child{.pid = 200, .parent = 100, .write_bytes = 5000};
    auto waited = server; // 5,000 of the child, 700 of it unseen, 300 of its own
    waited.cpu_ns += 1000000, waited.group_write_bytes = 6000, waited.children_faults = 9;
    ProcessMachine machine(MadeTicks().text() + server.text() + child.text() + "step 1\n" + gone(200) + waited.text());
    const auto result = machine.next();
    const auto* row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->write_bytes, 1000U);
    EXPECT_TRUE(row->io_shared);
    EXPECT_EQ(row->written_recently, 1000U);
    EXPECT_EQ(row->threads, 3U);
    EXPECT_FALSE(row->voluntary); // those of the first thread only
}

TEST(ProcessRows, FiguresOfTwoFilesAreNotSubtracted) {
    MadeProcess one{.pid = 100, .write_bytes = 1000, .group_write_bytes = 0};
    auto several = one, later = one;
    several.threads = 2, several.cpu_ns += 1, several.group_write_bytes = 500;
    later = several, later.cpu_ns += 1, later.threads = 1, later.group_write_bytes = 600;
    ProcessMachine machine(MadeTicks().text() + one.text() + "step 1\n" + several.text() + "step 2\n" + later.text());
    EXPECT_FALSE(machine.next().find(100)->write_bytes);
    EXPECT_EQ(machine.next().find(100)->write_bytes, 100U);
}

// The kernel adds nothing to a parent that ignores SIGCHLD, nor to one whose children somebody else waits for.
TEST(ProcessRows, WhatNobodyInheritsIsNotTakenFromWhatTheOthersDid) {
    ProcessMachine machine(MadeTicks().text() + MadeProcess{.pid = 1, .parent = 0, .cpu_ns = 1000000000}.text() +
                           MadeProcess{.pid = 100, .cpu_ns = 50000000000}.text() + "step 1\n" + gone(100) +
                           MadeProcess{.pid = 1, .parent = 0, .cpu_ns = 1300000000}.text());
    const auto result = machine.next();
    EXPECT_EQ(result.total().ended, 1U);
    EXPECT_EQ(result.total().accounted_us, 300000U);
}

// Whatever comes and goes, what is accounted for is never more than there was, and rows agree with the sum.
TEST(ProcessRows, SumsOfManySteps) {
    std::string lines = MadeTicks().text() + MadeProcess{.pid = 1, .parent = 0}.text();
    uint64_t children = 0, spent = 0;
    int64_t cpu = 1000000000;
    for (int step = 1; step <= 30; step++) {
        const int pid = 100 + step;
        lines += "step " + std::to_string(step) + "\n";
        lines +=
            MadeProcess{.pid = pid, .start = static_cast<uint64_t>(10000 + step * 100 - 50), .cpu_ns = 20000000}.text();
        if (step > 1) lines += gone(pid - 1), children += 3; // 20 ms before, 10 ms more until its end
        cpu += 1000000;
        lines +=
            MadeProcess{.pid = 1, .parent = 0, .cpu_ns = cpu, .children_faults = children, .children = children}.text();
    }
    ProcessMachine machine(lines);
    for (int step = 1; step <= 30; step++) {
        const auto result = machine.next();
        uint64_t sum = 0;
        for (auto& row : result.processes.rows) sum += row.cpu_us.value_or(0) + row.children_us.value_or(0);
        EXPECT_EQ(sum, result.total().accounted_us) << step;
        EXPECT_EQ(sum, step == 1 ? 21000U : 31000U);
        spent += sum;
    }
    EXPECT_EQ(spent, 30 * 1000U + 30 * 20000U + 29 * 10000U);
}

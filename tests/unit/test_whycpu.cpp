// The rules of CPUs, quotas and forks on both sides of their limits, with decoys, and where sources are lacking.
#include "tests/unit/whymachine.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

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

// The one that used most, not the one whose record comes first.
TEST(WhyCpu, WhoUsedMostDoesNotSuffer) {
    WhyMachine machine;
    machine.busy(97);
    machine.pressure("cpu", 50, 0);
    uint64_t pid = 8;
    for (const std::string name : {"small", "hog", "other"}) {
        auto& process = machine.process(pid++, name);
        process.cpu_us = (name == "hog" ? 24 : 3) * Second, process.wait_us = Second;
    }
    const auto found = machine.find();
    ASSERT_EQ(found.suffer.size(), 2U);
    EXPECT_EQ(found.suffer[0].name, "small");
    EXPECT_EQ(found.suffer[1].name, "other");
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
    for (auto& near : found.nearest) EXPECT_NE(near.resource, "CPU") << "beyond its limit, and no pressure";
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

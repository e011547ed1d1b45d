// Descriptors that share an open file, or seem to.
#include "tests/unit/filemachine.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

// The members that a descriptor does not name have their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

TEST(Files, AForkedFileCountsOnce) {
    const auto at = [](uint64_t position, bool child) {
        std::string lines = Fd{.position = position}.text() + "openfile /proc/100/fd/3 77\n";
        if (child) lines += Fd{.pid = 200, .position = position}.text() + "openfile /proc/200/fd/3 77\n";
        return lines;
    };
    FileMachine machine(at(100, false) + "step 1\n" + at(300, true) + "step 2\n" + at(350, true) + "step 3\n" +
                            at(400, true),
                        {ran(100)});
    machine.next({ran(100), ran(200, true)}, {process(100, 0, 0), process(200, 200, 0)});
    ASSERT_EQ(machine.files.rows.size(), 1U);
    EXPECT_EQ(machine.row(200).forward, 200U); // the parent read nothing
    EXPECT_EQ(machine.row(200).mark, "=");
    EXPECT_EQ(machine.row(200).sharers, 2U);
    machine.next({ran(100), ran(200)}, {process(100, 30, 0), process(200, 40, 0)});
    EXPECT_EQ(machine.row(200).forward, 50U);
    EXPECT_EQ(machine.row(200).evidence, "shared"); // either may have moved it
    EXPECT_EQ(machine.row(200).mark, "~");
    machine.next({ran(200)}, {process(200, 50, 0)}); // the parent sleeps
    EXPECT_EQ(machine.row(200).forward, 50U);
    EXPECT_EQ(machine.row(200).mark, "=");
}

// The parent sleeps while its child reads, and wakes when that has ended.
TEST(Files, WhatAChildReadIsNotCountedAgain) {
    const auto at = [](uint64_t position) {
        return Fd{.position = position}.text() + "openfile /proc/100/fd/3 77\n" +
               Fd{.pid = 200, .position = position}.text() + "openfile /proc/200/fd/3 77\n";
    };
    FileMachine machine(at(0) + "step 1\n" + at(500) + "step 2\n" + at(600) + "gone /proc/200\n", {ran(100), ran(200)});
    machine.next({ran(200)}, {process(200, 500, 0)});
    EXPECT_EQ(machine.row(200).forward, 500U);
    machine.next({ran(100)}, {process(100, 100, 0)});
    EXPECT_EQ(machine.row(100).forward, 100U);
}

// Without kcmp equal positions make them one, until they prove to be two.
TEST(Files, EqualPositionsAreTakenForOneFile) {
    const auto at = [](uint64_t one, uint64_t other) {
        return Fd{.position = one}.text() + Fd{.pid = 200, .position = other}.text();
    };
    FileMachine machine(at(10, 10) + "step 1\n" + at(60, 60) + "step 2\n" + at(80, 60) + "step 3\n" + at(90, 65),
                        {ran(100), ran(200)});
    machine.next({ran(100), ran(200)}, {process(100, 50, 0), process(200, 0, 0)});
    ASSERT_EQ(machine.files.rows.size(), 1U);
    EXPECT_EQ(machine.row(100).forward, 50U);
    EXPECT_EQ(machine.row(100).sharers, 2U);
    machine.next({ran(100)}, {process(100, 20, 0)}); // 200 sleeps, and has stayed where it was
    ASSERT_EQ(machine.files.rows.size(), 1U);
    EXPECT_EQ(machine.row(100).sharers, 1U);
    machine.next({ran(100), ran(200)}, {process(100, 10, 0), process(200, 5, 0)});
    EXPECT_EQ(machine.row(100).forward, 10U);
}

TEST(Files, TwoFilesAtTheSamePositionArePulledApart) {
    const auto at = [](uint64_t one, uint64_t other) {
        return Fd{.position = one}.text() + Fd{.pid = 200, .position = other}.text();
    };
    FileMachine machine(at(0, 0) + "step 1\n" + at(50, 30), {ran(100), ran(200)});
    machine.next({ran(100), ran(200)}, {process(100, 50, 0), process(200, 30, 0)});
    ASSERT_EQ(machine.files.rows.size(), 2U);
    EXPECT_EQ(machine.row(100).forward, 50U);
    EXPECT_EQ(machine.row(200).forward, 30U);
    EXPECT_EQ(machine.row(200).mark, "=");
}

TEST(Files, TheKernelTellsTwoFilesFromOne) {
    const auto at = [](uint64_t one, uint64_t other) {
        return Fd{.position = one}.text() + "openfile /proc/100/fd/3 1\n" + Fd{.pid = 200, .position = other}.text() +
               "openfile /proc/200/fd/3 2\n";
    };
    FileMachine machine(at(0, 0) + "step 1\n" + at(50, 50), {ran(100), ran(200)});
    machine.next({ran(100), ran(200)}, {process(100, 50, 0), process(200, 50, 0)});
    ASSERT_EQ(machine.files.rows.size(), 2U);
    EXPECT_EQ(machine.row(100).mark + machine.row(200).mark, "==");
}

// An idle process has a descriptor that was moved by one that is gone: it is found in turn.
TEST(Files, APassedDescriptorIsSeenInTurn) {
    FileMachine machine(Fd{.position = 10}.text() + "text /proc/100/comm \"shell\\n\"\nstep 1\n" +
                            Fd{.position = 30}.text(),
                        {ran(100)});
    machine.next({});
    EXPECT_EQ(machine.row().name, "shell");
    EXPECT_EQ(machine.row().forward, 20U);
    EXPECT_EQ(machine.row().evidence, "passed");
    EXPECT_EQ(machine.row().mark, "~");
}

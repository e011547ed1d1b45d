// Files that move, grow, begin and end.
#include "tests/unit/filemachine.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// The members that a descriptor does not name have their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

// --- Movement

TEST(Files, AReaderMovesForward) {
    FileMachine machine(Fd{.position = 100}.text() + "step 1\n" + Fd{.position = 600}.text(), {ran(100)});
    machine.next({ran(100)}, {process(100, 500, 0)});
    ASSERT_EQ(machine.files.rows.size(), 1U);
    const auto row = machine.row();
    EXPECT_EQ(row.start, 5000U);
    EXPECT_EQ(row.name, "worker100");
    EXPECT_EQ(row.user, "root");
    EXPECT_EQ(row.unit, "worker.service");
    EXPECT_EQ(row.forward, 500U);
    EXPECT_EQ(row.backward, 0U);
    EXPECT_EQ(row.position, 600U);
    EXPECT_EQ(row.size, 1000U);
    EXPECT_FALSE(row.growth); // a reader's file is not asked for that
    EXPECT_EQ(row.inode, 900U);
    EXPECT_EQ(row.mount_id, 23U);
    EXPECT_EQ(row.path, "/srv/data");
    EXPECT_FALSE(row.deleted);
    EXPECT_EQ(row.flags, "read");
    EXPECT_EQ(row.mount, "/srv");
    EXPECT_EQ(row.type, "xfs");
    EXPECT_EQ(row.device, "8:17");
    EXPECT_EQ(row.mark, "=");
    EXPECT_EQ(row.evidence, "moved");
    EXPECT_EQ(row.sharers, 1U);
    ASSERT_TRUE(machine.all.one());
    EXPECT_EQ(machine.all.one()->processes, 1U);
    EXPECT_EQ(machine.all.one()->descriptors, 1U);
    EXPECT_EQ(machine.all.one()->moved, 1U);
    EXPECT_EQ(machine.all.one()->known, 1U);
    EXPECT_EQ(machine.files.elapsed_us, 1000000);
}

// What moved further than its process read and wrote was moved by a seek, or splice.
TEST(Files, MovementAboveWhatWasReadIsInferred) {
    const std::string lines = Fd{.position = 100}.text() + Fd{.number = 4, .inode = 901}.text() + "step 1\n" +
                              Fd{.position = 600}.text() + Fd{.number = 4, .position = 300, .inode = 901}.text();
    const auto markOf = [&](std::optional<uint64_t> read, bool shared = false) {
        FileMachine machine(lines, {ran(100)});
        auto row = process(100, read, 0);
        row.io_shared = shared;
        machine.next({ran(100)}, {row});
        return machine.row().mark + machine.row(100, 4).mark;
    };
    EXPECT_EQ(markOf(800), "==");
    EXPECT_EQ(markOf(799), "~~"); // one of them moved otherwise
    EXPECT_EQ(markOf({}), "~~");
    EXPECT_EQ(markOf(800, true), "~~"); // its figures may be those of its children
}

TEST(Files, AFileWoundBackIsInferred) {
    FileMachine machine(Fd{.position = 900}.text() + "step 1\n" + Fd{.position = 100}.text(), {ran(100)});
    machine.next({ran(100)}, {process(100, 100000, 0)});
    EXPECT_EQ(machine.row().forward, 0U);
    EXPECT_EQ(machine.row().backward, 800U);
    EXPECT_EQ(machine.row().mark, "~");
}

TEST(Files, WhatDidNotMoveHasNoRow) {
    FileMachine machine(Fd{.position = 100}.text() + "step 1\nstep 2\n", {ran(100)});
    machine.next({ran(100)}, {process(100, 500, 0)});
    EXPECT_TRUE(machine.files.rows.empty());
    EXPECT_EQ(machine.all.one()->descriptors, 1U);
    machine.next({});
    EXPECT_EQ(machine.all.one()->processes, 0U);
    EXPECT_EQ(machine.all.one()->known, 1U);
}

TEST(Files, AWriterGrowsItsFile) {
    const Fd log{.position = 500, .flags = O_WRONLY | O_APPEND, .size = 500};
    auto later = log;
    later.position = later.size = 800, later.modified = 2;
    FileMachine machine(log.text() + "step 1\n" + later.text(), {ran(100)});
    machine.next({ran(100, false, true)}, {process(100, 0, 300)});
    EXPECT_EQ(machine.row().forward, 300U);
    EXPECT_EQ(machine.row().growth, 300);
    EXPECT_EQ(machine.row().flags, "write append");
    EXPECT_EQ(machine.row().mark, "=");
}

// --- Files that begin and end

TEST(Files, AFileOpenedInTheInterval) {
    const Fd early{.number = 4, .inode = 1};
    FileMachine machine(
        early.text() + "step 1\n" + Fd{.position = 700}.text() + "step 2\n" + Fd{.position = 900}.text(), {ran(100)});
    machine.next({ran(100)}, {process(100, 700, 0)});
    EXPECT_EQ(machine.row().forward, 700U);
    EXPECT_EQ(machine.row().evidence, "opened");
    EXPECT_EQ(machine.row().mark, "=");
    machine.next({ran(100)}, {process(100, 200, 0)});
    EXPECT_EQ(machine.row().forward, 200U);
    EXPECT_EQ(machine.row().evidence, "moved");
}

// Its position says where it appends, not how much it wrote.
TEST(Files, AFileOpenedAtItsEnd) {
    FileMachine machine(Fd{.number = 4, .inode = 1}.text() + "step 1\n" +
                            Fd{.position = 1000000, .flags = O_WRONLY | O_APPEND}.text(),
                        {ran(100)});
    machine.next({ran(100)}, {process(100, 5000, 70)});
    EXPECT_EQ(machine.row().forward, 70U);
    EXPECT_EQ(machine.row().position, 1000000U);
    EXPECT_EQ(machine.row().mark, "~");
}

TEST(Files, AProcessThatBegan) {
    FileMachine machine(Fd{.number = 4}.text() + "step 1\n" + Fd{.pid = 200, .position = 50, .inode = 7}.text() +
                            Fd{.pid = 300, .position = 60, .inode = 8}.text(),
                        {ran(100)});
    machine.next({ran(200, true), ran(300)}, {process(200, 50, 0), process(300, 60, 0)});
    ASSERT_EQ(machine.files.rows.size(), 1U); // nobody knows since when 300 reads
    EXPECT_EQ(machine.row(200).forward, 50U);
    EXPECT_EQ(machine.row(200).mark, "=");
}

TEST(Files, APidThatIsUsedAgain) {
    FileMachine machine(Fd{.position = 100}.text() + "step 1\n" + Fd{.position = 150}.text(), {ran(100)});
    auto other = ran(100, true);
    other.start = 6000;
    auto row = process(100, 150, 0); // it has read 150 in all
    row.start = 6000;
    machine.next({other}, {row});
    EXPECT_EQ(machine.row().forward, 150U); // its own, from 0
    EXPECT_EQ(machine.all.one()->known, 1U);
}

TEST(Files, AnotherFileUnderTheSameNumber) {
    FileMachine machine(Fd{.position = 100}.text() + "step 1\n" + Fd{.position = 150, .inode = 901}.text(), {ran(100)});
    machine.next({ran(100)}, {process(100, 150, 0)});
    EXPECT_EQ(machine.row().inode, 901U);
    EXPECT_EQ(machine.row().forward, 150U);
    EXPECT_EQ(machine.row().evidence, "opened");
}

// dup2(3, 0); close(3)
TEST(Files, AnotherNumberForTheSameFile) {
    const Fd three{.position = 100}, zero{.number = 0, .position = 150}, nine{.number = 9, .position = 170};
    FileMachine machine(three.text() + "step 1\n" + three.closed() + zero.text() + "step 2\n" + zero.closed() +
                            nine.text(),
                        {ran(100)});
    machine.next({ran(100)}, {process(100, 1000, 0)});
    EXPECT_EQ(machine.row(100, 0).forward, 50U);
    machine.next({ran(100)}, {process(100, 1000, 0)});
    EXPECT_EQ(machine.row(100, 9).forward, 20U);
    EXPECT_EQ(machine.all.one()->known, 1U);
}

TEST(Files, WhatEndsIsForgotten) {
    std::string lines;
    for (int pid = 100; pid < 140; pid++) lines += Fd{.pid = pid, .inode = static_cast<uint64_t>(pid)}.text();
    std::vector<Ran> all;
    for (int pid = 100; pid < 140; pid++) all.push_back(ran(pid));
    lines += "step 1\n";
    for (int pid = 100; pid < 139; pid++) lines += "gone /proc/" + std::to_string(pid) + "\n";
    for (int step = 2; step < 12; step++) lines += "step " + std::to_string(step) + "\n";
    FileMachine machine(lines, all);
    EXPECT_EQ(machine.now.known, 40U);
    for (int step = 1; step < 12; step++) machine.next({});
    EXPECT_EQ(machine.now.known, 1U);
}

// --- Files that are written without a movement

TEST(Files, WrittenInPlace) {
    const Fd base{.flags = O_RDWR, .size = 4096};
    auto touched = base, larger = base;
    touched.modified = 2;
    larger.modified = 2, larger.size = 8192;
    FileMachine machine(base.text() + "step 1\n" + touched.text() + "step 2\nstep 3\n" + larger.text(), {ran(100)});
    machine.next({ran(100, false, true)}, {process(100, 0, 4096)});
    EXPECT_EQ(machine.row().evidence, "written");
    EXPECT_EQ(machine.row().mark, "~");
    EXPECT_FALSE(machine.row().forward);
    EXPECT_EQ(machine.row().growth, 0);
    EXPECT_EQ(machine.all.one()->written, 1U);
    machine.next({ran(100, false, true)}, {process(100, 0, 4096)}); // it wrote elsewhere
    EXPECT_TRUE(machine.files.rows.empty());
    machine.next({ran(100, false, true)}, {process(100, 0, 4096)});
    EXPECT_EQ(machine.row().growth, 4096);
}

TEST(Files, OnlyOfProcessesThatWrote) {
    const Fd base{.flags = O_RDWR}, reader{.pid = 200};
    auto touched = base, seen = reader;
    touched.modified = seen.modified = 2;
    FileMachine machine(base.text() + reader.text() + "step 1\n" + touched.text() + seen.text(), {ran(100), ran(200)});
    machine.next({ran(100), ran(200, false, true)}); // 200 cannot write there
    EXPECT_TRUE(machine.files.rows.empty());
}

TEST(Files, AFileThatIsMadeAndWrittenInPlace) {
    const Fd made{.flags = O_RDWR, .size = 8192, .modified = 150};
    const Fd old{.number = 4, .flags = O_RDWR, .inode = 901, .modified = 20};
    FileMachine machine("clock 100.000\n" + Fd{.number = 5, .inode = 5}.text() + "step 1\n" + made.text() + old.text(),
                        {ran(100)});
    machine.next({ran(100, false, true)}, {process(100, 0, 8192)});
    ASSERT_EQ(machine.files.rows.size(), 1U);
    EXPECT_EQ(machine.row().evidence, "written");
    EXPECT_FALSE(machine.row().growth); // its size before is not known
}

// --- Many

TEST(Files, TheLargestAreDescribedAndTheRestAddedUp) {
    std::string first, second;
    for (int i = 0; i < 600; i++) {
        Fd fd{.number = i, .position = 1000, .inode = static_cast<uint64_t>(i + 1)};
        first += fd.text();
        fd.position = i < 100 ? 1000 - 1 : 1000 + static_cast<uint64_t>(i);
        second += fd.text();
    }
    FileMachine machine(first + "step 1\n" + second, {ran(100)});
    machine.next({ran(100)}, {process(100, 1000000, 0)});
    EXPECT_EQ(machine.files.rows.size(), 500U);
    EXPECT_EQ(machine.all.one()->moved, 600U);
    ASSERT_TRUE(machine.files.rest);
    EXPECT_EQ(machine.files.rest->backward, 100U);
    uint64_t forward = *machine.files.rest->forward;
    for (auto& row : machine.files.rows) forward += *row.forward;
    EXPECT_EQ(forward, (100U + 599U) * 500U / 2);
}

// Blocked tasks that nothing else explains: what they wait for, and who keeps it busy.
#include "tests/unit/whymachine.h"

#include <cstdint>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

TEST(WhyBlocked, TasksThatNothingExplains) {
    for (const uint64_t blocked : {7U, 8U}) {
        WhyMachine machine;
        machine.cpu().blocked = blocked;
        machine.process(7, "ls").state = 'D';
        const auto found = machine.find();
        EXPECT_EQ(culprits(found, "BLOCKED"), blocked < 8 ? "no finding" : "? 100?");
        EXPECT_EQ(found.suffer.size(), blocked < 8 ? 0U : 1U);
    }
    auto machine = slowDisk();
    machine.cpu().blocked = 30;
    EXPECT_FALSE(findingOf(machine.find(), "BLOCKED"));
    WhyMachine bare;
    bare.interval.cpu.clear();
    EXPECT_TRUE(bare.find().why.empty());
    ProcsRow all;
    all.blocked = 9;
    WhyMachine::put(bare.interval.processesTotal, all);
    EXPECT_TRUE(findingOf(bare.find(), "BLOCKED"));
}

// Ten tasks are blocked; sdb is busy, but below its limits.
static WhyMachine blockedTasks() {
    WhyMachine machine;
    machine.cpu().blocked = 10;
    machine.pressure("io", 40, 8);
    machine.disk("sda", "8:0", 0, 0, 0.1);
    machine.disk("sdb", "8:16", 100, 6, 2.2);
    return machine;
}

static void block(WhyMachine& machine, uint64_t pid, const char* name, const char* function) {
    auto& process = machine.process(pid, name);
    process.state = 'D', process.wait_channel = function;
}

static std::string evidenceOf(const Findings& found, std::string_view name) {
    for (auto& row : found.who)
        if (row.name == name) return row.evidence;
    return {};
}

TEST(WhyBlocked, WhoKeepsTheDiskBusy) {
    auto machine = blockedTasks();
    auto& tar = machine.process(4411, "tar");
    tar.write_bytes = 150 * MiB;
    for (uint64_t pid = 20; pid < 26; pid++) block(machine, pid, "postgres", "folio_wait_bit_common");
    block(machine, 30, "rsyslogd", "jbd2_log_wait_commit");
    block(machine, 31, "rsyslogd", "io_schedule");
    // Three quarters of what the disk did were the process's; the disk stands for the rest.
    auto found = machine.find();
    EXPECT_EQ(culprits(found, "BLOCKED"), "tar 60~, sdb 20~, ? 20?");
    EXPECT_EQ(evidenceOf(found, "tar"), "75.0 MB/s; 8 wait for sdb in folio_wait_bit_common, io_schedule, "
                                        "jbd2_log_wait_commit: postgres x6, rsyslogd x2");
    EXPECT_EQ(evidenceOf(found, "sdb"),
              "8 wait for sdb in folio_wait_bit_common, io_schedule, "
              "jbd2_log_wait_commit: postgres x6, rsyslogd x2; queue 2.2, writes wait 6.0 ms");
    // A file tells more than the longest queue.
    auto& database = machine.process(40, "database");
    database.state = 'D', database.wait_channel = "io_schedule";
    machine.file(database, "/var/db", "sda", 1);
    machine.interval.disks.rows[0].reads = 5;
    EXPECT_EQ(culprits(machine.find(), "BLOCKED"), "tar 60~, sdb 20~, sda 10~, ? 10?");
}

TEST(WhyBlocked, ADiskThatEndsNothing) {
    auto machine = blockedTasks();
    auto& disk = machine.interval.disks.rows[1];
    disk.writes = disk.write_us = disk.write_bytes = disk.queue_us = 0;
    for (uint64_t pid = 20; pid < 29; pid++) block(machine, pid, "postgres", "io_schedule");
    machine.process(4411, "tar").write_bytes = 150 * MiB;
    disk.in_flight = 0;
    EXPECT_EQ(culprits(machine.find(), "BLOCKED"), "sda 90~, ? 10?");
    disk.in_flight = 12;
    const auto found = machine.find();
    EXPECT_EQ(culprits(found, "BLOCKED"), "sdb 90~, ? 10?");
    EXPECT_EQ(evidenceOf(found, "sdb"),
              "9 wait for sdb in io_schedule: postgres x9; 12 requests under way, none ended");
}

TEST(WhyBlocked, WhoServesAFilesystem) {
    auto machine = blockedTasks();
    for (uint64_t pid = 20; pid < 28; pid++) block(machine, pid, "ls", "rpc_wait_bit_killable");
    block(machine, 30, "cat", "request_wait_answer");
    auto found = machine.find();
    EXPECT_EQ(culprits(found, "BLOCKED"), "who serves NFS 80~, who serves FUSE 10~, ? 10?");
    EXPECT_EQ(evidenceOf(found, "who serves FUSE"), "1 waits in request_wait_answer: cat");
    auto home = filesystem(10);
    home.point = "/home", home.type = "nfs4", home.source = "nas:/home", home.remote = true;
    WhyMachine::put(machine.interval.filesystems, home);
    found = machine.find();
    EXPECT_EQ(culprits(found, "BLOCKED"), "nas:/home 80~, who serves FUSE 10~, ? 10?");
    EXPECT_EQ(evidenceOf(found, "nas:/home"), "8 wait for /home in rpc_wait_bit_killable: ls x8");
    // Of two nobody knows which; but of one that is late, and of the one that has the process's file.
    home.point = "/mail", home.source = "nas:/mail";
    WhyMachine::put(machine.interval.filesystems, home);
    EXPECT_EQ(culprits(machine.find(), "BLOCKED"), "who serves NFS 80~, who serves FUSE 10~, ? 10?");
    machine.interval.filesystems.rows[1].stuck_us = 900000;
    EXPECT_EQ(culprits(machine.find(), "BLOCKED"), "nas:/mail 80~, who serves FUSE 10~, ? 10?");
    auto& reader = machine.process(50, "reader");
    reader.state = 'D', reader.wait_channel = "folio_wait_bit_common"; // a page from the server
    auto& file = machine.file(reader, "/home/x", "", 5);
    file.mount = "/home", file.type = "nfs4";
    EXPECT_EQ(culprits(machine.find(), "BLOCKED"), "nas:/mail 80~, who serves FUSE 10~, nas:/home 10~");
}

// Without a right the kernel does not tell the function: then the disk must really be busy.
TEST(WhyBlocked, WithoutFunctions) {
    auto machine = blockedTasks();
    for (uint64_t pid = 20; pid < 30; pid++) block(machine, pid, "postgres", "");
    machine.process(4411, "tar").write_bytes = 200 * MiB;
    EXPECT_EQ(culprits(machine.find(), "BLOCKED"), "tar 100~");
    machine.interval.disks.rows[1].queue_us = 2 * Second * 9 / 10;
    EXPECT_EQ(culprits(machine.find(), "BLOCKED"), "? 100?");
    machine.interval.disks.clear();
    EXPECT_EQ(culprits(machine.find(), "BLOCKED"), "? 100?");
}

TEST(WhyBlocked, OtherFunctions) {
    auto machine = blockedTasks();
    block(machine, 20, "scanner", "usb_sg_wait");
    for (uint64_t pid = 30; pid < 33; pid++) block(machine, pid, "sh", "kernel_clone");
    const auto found = machine.find();
    EXPECT_EQ(culprits(found, "BLOCKED"), "kernel_clone 30~, usb_sg_wait 10~, ? 60?");
    EXPECT_EQ(evidenceOf(found, "usb_sg_wait"), "1 waits: scanner");
    EXPECT_EQ(found.suffer.size(), 2U);
}

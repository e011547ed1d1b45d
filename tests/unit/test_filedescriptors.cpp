// Which descriptors are files, what their names and mounts are, and what kernels, rights and roots hide.
#include "tests/unit/filemachine.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// The members that a descriptor does not name have their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

// --- What a descriptor is

TEST(Files, OnlyFilesAndBlockDevicesCount) {
    const auto all = [](uint64_t position) {
        std::string lines;
        lines += Fd{.number = 0, .position = position, .mount = 22, .inode = 5, .path = "/dev/null", .more = "type=c"}
                     .text();
        lines += Fd{.number = 1, .position = position, .mount = 9, .inode = 6, .path = "socket:[6]"}.text();
        lines += Fd{.number = 2, .position = position, .inode = 7, .path = "/srv", .more = "type=d"}.text();
        lines += Fd{.number = 3,
                    .position = position,
                    .mount = 22,
                    .inode = 8,
                    .path = "/dev/sdb1",
                    .more = "type=b rdev=8:17"}
                     .text();
        lines += Fd{.number = 4, .position = position, .mount = 21, .inode = 9, .path = "/proc/stat"}.text();
        lines += Fd{.number = 5, .position = position, .flags = O_PATH, .inode = 10}.text();
        lines += Fd{.number = 6, .position = position, .flags = O_DIRECTORY, .inode = 11}.text();
        lines += Fd{.number = 7, .position = position, .mount = 9, .inode = 12, .path = "/memfd:x (deleted)"}.text();
        lines += Fd{.number = 8, .position = position, .mount = 9, .inode = 13, .path = "/dev/zero (deleted)"}.text();
        lines += Fd{.number = 9, .position = position, .mount = 9, .inode = 14, .path = "/old/data"}.text();
        return lines;
    };
    FileMachine machine(all(0) + "step 1\n" + all(50), {ran(100)});
    machine.next({ran(100)}, {process(100, 5000, 0)});
    ASSERT_EQ(machine.files.rows.size(), 2U);
    const auto device = machine.row(100, 3);
    EXPECT_EQ(device.device, "8:17"); // the disk, not the filesystem of its name
    EXPECT_EQ(device.mount, "");
    EXPECT_EQ(device.path, "/dev/sdb1");
    EXPECT_FALSE(device.size);
    const auto unmounted = machine.row(100, 9);
    EXPECT_EQ(unmounted.path, "/old/data");
    EXPECT_EQ(unmounted.mount, "");
    EXPECT_EQ(machine.all.one()->descriptors, 10U);
}

// A socket's number can be a file's later.
TEST(Files, ASocketThatBecomesAFile) {
    FileMachine machine(Fd{.mount = 9, .inode = 6, .path = "socket:[6]"}.text() + "step 1\nstep 2\n" +
                            Fd{.position = 40}.text() + "step 3\n" +
                            Fd{.mount = 9, .inode = 6, .path = "socket:[6]"}.text(),
                        {ran(100)});
    machine.next({ran(100)});
    EXPECT_TRUE(machine.files.rows.empty());
    machine.next({ran(100)}, {process(100, 40, 0)});
    EXPECT_EQ(machine.row().forward, 40U);
    machine.next({ran(100)});
    EXPECT_TRUE(machine.files.rows.empty());
}

TEST(Files, ARemoteFileIsNeverAsked) {
    const Fd remote{.flags = O_RDWR, .mount = 24, .path = "/nas/data"};
    auto later = remote;
    later.position = 70;
    FileMachine machine(remote.text() + "step 1\n" + later.text(), {ran(100)});
    // An answer of statx would give a size.
    machine.next({ran(100, false, true)}, {process(100, 0, 70)});
    EXPECT_EQ(machine.row().forward, 70U);
    EXPECT_FALSE(machine.row().size);
    EXPECT_FALSE(machine.row().growth);
    EXPECT_EQ(machine.row().type, "nfs4");
}

TEST(Files, AnotherMountNamespace) {
    const std::string table = "file /proc/100/mountinfo <<END\n"
                              "90 1 0:60 / / rw - overlay overlay rw\n"
                              "91 90 8:17 /volume /data rw - xfs /dev/sdb1 rw\nEND\n";
    const auto at = [](uint64_t position) {
        return Fd{.position = position, .mount = 91, .path = "/data/x"}.text() +
               Fd{.number = 4, .position = position, .mount = 90, .inode = 4, .path = "/tmp/y"}.text();
    };
    FileMachine machine(table + at(0) + "step 1\n" + at(50), {ran(100)});
    machine.next({ran(100)}, {process(100, 100, 0)});
    EXPECT_EQ(machine.row().mount, "/srv"); // where it is mounted here
    EXPECT_EQ(machine.row().path, "/data/x");
    EXPECT_EQ(machine.row().device, "8:17");
    EXPECT_EQ(machine.row(100, 4).mount, "/");
    EXPECT_EQ(machine.row(100, 4).type, "overlay");
}

TEST(Files, DeletedAndHostileNames) {
    const auto at = [](uint64_t position) {
        return Fd{.position = position, .path = "/srv/gone (deleted)", .more = "links=0"}.text() +
               Fd{.number = 4, .position = position, .inode = 4, .path = "/srv/there (deleted)"}.text() +
               Fd{.number = 5, .position = position, .mount = 24, .inode = 5, .path = "/nas/gone (deleted)"}.text() +
               Fd{.number = 6, .position = position, .inode = 6, .path = "/srv/\\x1b[2J,\\n\\xff"}.text();
    };
    FileMachine machine(at(0) + "step 1\n" + at(50), {ran(100)});
    machine.next({ran(100)}, {process(100, 1000, 0)});
    EXPECT_EQ(machine.row().path, "/srv/gone");
    EXPECT_TRUE(machine.row().deleted);
    EXPECT_EQ(machine.row(100, 4).path, "/srv/there (deleted)"); // it has a name: perhaps this one
    EXPECT_FALSE(machine.row(100, 4).deleted);
    EXPECT_EQ(machine.row(100, 5).path, "/nas/gone");
    EXPECT_TRUE(machine.row(100, 5).deleted);
    EXPECT_EQ(machine.row(100, 6).path, "/srv/\x1b[2J,\n\xff"); // as it is; outputs escape it
}

// --- Kernels, rights, roots

TEST(Files, OlderKernels) {
    for (const unsigned kernel : {315U, 310U}) {
        const auto at = [&](uint64_t position, const std::string& path) {
            return Fd{.position = position, .path = path, .kernel = kernel}.text() +
                   Fd{.number = 4, .position = position, .mount = 24, .inode = 4, .path = "/nas/x", .kernel = kernel}
                       .text();
        };
        FileMachine machine(at(10, "/srv/data") + "step 1\n" + at(50, "/srv/data") + "step 2\n" + at(60, "/srv/data") +
                                Fd{.number = 4, .mount = 24, .inode = 4, .path = "/nas/other", .kernel = kernel}.text(),
                            {ran(100)});
        machine.next({ran(100)}, {process(100, 1000, 0)});
        EXPECT_EQ(machine.row().forward, 40U) << kernel;
        EXPECT_EQ(machine.row(100, 4).forward, 40U) << kernel;
        EXPECT_EQ(machine.row(100, 4).inode, 0U) << kernel; // not known
        machine.next({ran(100)}, {process(100, 1000, 0)});
        ASSERT_EQ(machine.files.rows.size(), 1U) << kernel; // the other is a new file at 0
        EXPECT_EQ(machine.row().forward, 10U) << kernel;
    }
}

TEST(Files, WhatMayNotBeRead) {
    FileMachine machine(Fd{}.text() + Fd{.pid = 200, .inode = 2}.text() + Fd{.pid = 300, .inode = 3}.text() +
                            "fail open /proc/100/fdinfo EACCES\nfail open /proc/200/fdinfo/3 EACCES\nstep 1\n"
                            "fail open /proc/300/fdinfo EACCES\nstep 2\nheal open /proc/300/fdinfo\n" +
                            Fd{.pid = 300, .position = 500, .inode = 3}.text(),
                        {ran(100), ran(200), ran(300)});
    EXPECT_EQ(machine.now.notAllowed, 2U);
    EXPECT_EQ(machine.sampler.notAllowed(), 2U);
    machine.next({ran(100), ran(300), ran(999)}); // 999 is gone
    EXPECT_EQ(machine.all.one()->not_allowed, 2U);
    EXPECT_EQ(machine.sampler.notAllowed(), 4U);
    EXPECT_EQ(machine.all.one()->processes, 0U);
    machine.next({ran(300)});
    EXPECT_TRUE(machine.files.rows.empty()); // what happened meanwhile is not known
}

TEST(Files, BelowAnotherRoot) {
    Made made("file /machine/proc/self/mountinfo <<END\n23 20 8:17 / /srv rw - xfs /dev/sdb1 rw\nEND\n"
              "file /machine/proc/100/fdinfo/3 <<END\npos:\t5\nflags:\t02\nmnt_id:\t23\nino:\t9\nEND\n"
              "link /machine/proc/100/fd/3 /srv/x\nstep 1\n"
              "file /machine/proc/100/fdinfo/3 <<END\npos:\t25\nflags:\t02\nmnt_id:\t23\nino:\t9\nEND\n");
    FileSampler sampler(Root("/machine"));
    FileSample now;
    const std::vector<Ran> active = {ran(100)};
    sampler.sample(active, now);
    made.step();
    sampler.sample(active, now);
    ASSERT_EQ(now.changes.size(), 1U);
    EXPECT_EQ(now.changes[0].position, 25U);
    EXPECT_EQ(now.changes[0].path, "/srv/x");
    EXPECT_FALSE(now.changes[0].size); // the link leads to a file of this machine
}

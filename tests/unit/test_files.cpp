#include "model/file.h"
#include "sample/file.h"
#include "tests/unit/made.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>

#include <gtest/gtest.h>

// The members that a descriptor does not name have their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

static constexpr auto Mounts = "file /proc/self/mountinfo <<END\n"
                               "20 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
                               "21 20 0:20 / /proc rw - proc proc rw\n"
                               "22 20 0:21 / /dev rw - devtmpfs udev rw\n"
                               "23 20 8:17 / /srv rw - xfs /dev/sdb1 rw\n"
                               "24 20 0:50 / /nas rw - nfs4 nas:/x rw\n"
                               "END\n";

namespace {
// A descriptor of a made-up process.
struct Fd {
    int pid = 100, number = 3;
    uint64_t position = 0;
    int flags = O_RDONLY;
    unsigned mount = 23;
    uint64_t inode = 900;
    std::string path = "/srv/data";
    uint64_t size = 1000, modified = 1; // seconds
    std::string more;                   // of statx
    unsigned kernel = 514;              // its version: 514 has the inode, 315 the mount

    std::string name() const { return std::to_string(pid) + "/fd/" + std::to_string(number); }
    std::string text() const {
        char octal[16];
        snprintf(octal, sizeof octal, "0%o", static_cast<unsigned>(flags));
        std::string lines = "file /proc/" + std::to_string(pid) + "/fdinfo/" + std::to_string(number) +
                            " <<END\npos:\t" + std::to_string(position) + "\nflags:\t" + octal + "\n";
        if (kernel >= 315) lines += "mnt_id:\t" + std::to_string(mount) + "\n";
        if (kernel >= 514) lines += "ino:\t" + std::to_string(inode) + "\n";
        lines += "END\nlink /proc/" + name() + " " + path + "\n";
        if (mount != 24)
            lines += "statx /proc/" + name() + " size=" + std::to_string(size) + " mtime=" + std::to_string(modified) +
                     " inode=" + std::to_string(inode) + (more.empty() ? "" : " " + more) + "\n";
        return lines;
    }
    std::string closed() const {
        return "gone /proc/" + name() + "\ngone /proc/" + std::to_string(pid) + "/fdinfo/" + std::to_string(number) +
               "\n";
    }
};

Ran ran(int pid, bool fresh = false, bool wrote = false) { return {pid, 5000, 1, fresh, wrote, 'S'}; }

ProcRow process(uint64_t pid, std::optional<uint64_t> read, std::optional<uint64_t> written) {
    ProcRow row;
    row.pid = pid, row.start = 5000;
    row.name = "worker" + std::to_string(pid), row.user = "root", row.unit = "worker.service";
    row.read_chars = read, row.write_chars = written;
    return row;
}

// A machine whose steps take a second, and what its files did in each.
struct Watched {
    Made made;
    FileSampler sampler{Root()};
    FileSample now;
    Rows<FilesRow> all;
    Rows<FileRow> files;
    std::map<uint64_t, std::pair<uint64_t, uint64_t>> transferred; // by pid, since it began
    Watched(const std::string& lines, const std::vector<Ran>& first) : made(Mounts + lines) {
        for (auto& process : first) count(::process(static_cast<uint64_t>(process.pid), 0, 0), process.threads > 1);
        sampler.sample(first, now);
        fileRows(now, {}, all, files);
        EXPECT_TRUE(files.rows.empty() && all.rows.empty()); // there is nothing to compare with
    }
    void next(const std::vector<Ran>& active, const std::vector<ProcRow>& rows = {}) {
        made.step();
        again(active, rows);
    }
    // Its file of what it read and wrote; none where that is not known.
    void count(const ProcRow& row, bool group) {
        const std::string pid = std::to_string(row.pid), path = group ? pid + "/io" : pid + "/task/" + pid + "/io";
        if (!row.read_chars) return (void)made.world.remove("/proc/" + path);
        auto& [read, written] = transferred[row.pid];
        read += *row.read_chars, written += *row.write_chars;
        made.world.truncate("/proc/" + path, 0);
        made.world.append("/proc/" + path, "rchar: " + std::to_string(read) + "\nwchar: " + std::to_string(written) +
                                               "\nsyscr: 1\nsyscw: 1\nread_bytes: 0\nwrite_bytes: 0\n"
                                               "cancelled_write_bytes: 0\n");
    }
    void again(const std::vector<Ran>& active, const std::vector<ProcRow>& rows = {}) {
        Rows<ProcRow> processes;
        for (auto& row : rows) count(row, false);
        processes.rows = rows;
        all.clear(), files.clear();
        sampler.sample(active, now);
        fileRows(now, processes, all, files);
    }
    // The row of a descriptor; an empty one, and a failure, when there is none.
    FileRow row(uint64_t pid = 100, uint64_t descriptor = 3) const {
        for (auto& row : files.rows)
            if (row.pid == pid && row.descriptor == descriptor) return row;
        ADD_FAILURE() << "no row of " << pid << " " << descriptor;
        return {};
    }
};
} // namespace

// --- Movement

TEST(Files, AReaderMovesForward) {
    Watched machine(Fd{.position = 100}.text() + "step 1\n" + Fd{.position = 600}.text(), {ran(100)});
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
        Watched machine(lines, {ran(100)});
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
    Watched machine(Fd{.position = 900}.text() + "step 1\n" + Fd{.position = 100}.text(), {ran(100)});
    machine.next({ran(100)}, {process(100, 100000, 0)});
    EXPECT_EQ(machine.row().forward, 0U);
    EXPECT_EQ(machine.row().backward, 800U);
    EXPECT_EQ(machine.row().mark, "~");
}

TEST(Files, WhatDidNotMoveHasNoRow) {
    Watched machine(Fd{.position = 100}.text() + "step 1\nstep 2\n", {ran(100)});
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
    Watched machine(log.text() + "step 1\n" + later.text(), {ran(100)});
    machine.next({ran(100, false, true)}, {process(100, 0, 300)});
    EXPECT_EQ(machine.row().forward, 300U);
    EXPECT_EQ(machine.row().growth, 300);
    EXPECT_EQ(machine.row().flags, "write append");
    EXPECT_EQ(machine.row().mark, "=");
}

// --- Files that begin and end

TEST(Files, AFileOpenedInTheInterval) {
    const Fd early{.number = 4, .inode = 1};
    Watched machine(early.text() + "step 1\n" + Fd{.position = 700}.text() + "step 2\n" + Fd{.position = 900}.text(),
                    {ran(100)});
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
    Watched machine(Fd{.number = 4, .inode = 1}.text() + "step 1\n" +
                        Fd{.position = 1000000, .flags = O_WRONLY | O_APPEND}.text(),
                    {ran(100)});
    machine.next({ran(100)}, {process(100, 5000, 70)});
    EXPECT_EQ(machine.row().forward, 70U);
    EXPECT_EQ(machine.row().position, 1000000U);
    EXPECT_EQ(machine.row().mark, "~");
}

TEST(Files, AProcessThatBegan) {
    Watched machine(Fd{.number = 4}.text() + "step 1\n" + Fd{.pid = 200, .position = 50, .inode = 7}.text() +
                        Fd{.pid = 300, .position = 60, .inode = 8}.text(),
                    {ran(100)});
    machine.next({ran(200, true), ran(300)}, {process(200, 50, 0), process(300, 60, 0)});
    ASSERT_EQ(machine.files.rows.size(), 1U); // nobody knows since when 300 reads
    EXPECT_EQ(machine.row(200).forward, 50U);
    EXPECT_EQ(machine.row(200).mark, "=");
}

TEST(Files, APidThatIsUsedAgain) {
    Watched machine(Fd{.position = 100}.text() + "step 1\n" + Fd{.position = 150}.text(), {ran(100)});
    auto other = ran(100, true);
    other.start = 6000;
    auto row = process(100, 150, 0); // it has read 150 in all
    row.start = 6000;
    machine.next({other}, {row});
    EXPECT_EQ(machine.row().forward, 150U); // its own, from 0
    EXPECT_EQ(machine.all.one()->known, 1U);
}

TEST(Files, AnotherFileUnderTheSameNumber) {
    Watched machine(Fd{.position = 100}.text() + "step 1\n" + Fd{.position = 150, .inode = 901}.text(), {ran(100)});
    machine.next({ran(100)}, {process(100, 150, 0)});
    EXPECT_EQ(machine.row().inode, 901U);
    EXPECT_EQ(machine.row().forward, 150U);
    EXPECT_EQ(machine.row().evidence, "opened");
}

// dup2(3, 0); close(3)
TEST(Files, AnotherNumberForTheSameFile) {
    const Fd three{.position = 100}, zero{.number = 0, .position = 150}, nine{.number = 9, .position = 170};
    Watched machine(three.text() + "step 1\n" + three.closed() + zero.text() + "step 2\n" + zero.closed() + nine.text(),
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
    Watched machine(lines, all);
    EXPECT_EQ(machine.now.known, 40U);
    for (int step = 1; step < 12; step++) machine.next({});
    EXPECT_EQ(machine.now.known, 1U);
}

// --- Descriptors that share an open file

TEST(Files, AForkedFileCountsOnce) {
    const auto at = [](uint64_t position, bool child) {
        std::string lines = Fd{.position = position}.text() + "openfile /proc/100/fd/3 77\n";
        if (child) lines += Fd{.pid = 200, .position = position}.text() + "openfile /proc/200/fd/3 77\n";
        return lines;
    };
    Watched machine(at(100, false) + "step 1\n" + at(300, true) + "step 2\n" + at(350, true) + "step 3\n" +
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
    Watched machine(at(0) + "step 1\n" + at(500) + "step 2\n" + at(600) + "gone /proc/200\n", {ran(100), ran(200)});
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
    Watched machine(at(10, 10) + "step 1\n" + at(60, 60) + "step 2\n" + at(80, 60) + "step 3\n" + at(90, 65),
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
    Watched machine(at(0, 0) + "step 1\n" + at(50, 30), {ran(100), ran(200)});
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
    Watched machine(at(0, 0) + "step 1\n" + at(50, 50), {ran(100), ran(200)});
    machine.next({ran(100), ran(200)}, {process(100, 50, 0), process(200, 50, 0)});
    ASSERT_EQ(machine.files.rows.size(), 2U);
    EXPECT_EQ(machine.row(100).mark + machine.row(200).mark, "==");
}

// An idle process has a descriptor that was moved by one that is gone: it is found in turn.
TEST(Files, APassedDescriptorIsSeenInTurn) {
    Watched machine(Fd{.position = 10}.text() + "text /proc/100/comm \"shell\\n\"\nstep 1\n" +
                        Fd{.position = 30}.text(),
                    {ran(100)});
    machine.next({});
    EXPECT_EQ(machine.row().name, "shell");
    EXPECT_EQ(machine.row().forward, 20U);
    EXPECT_EQ(machine.row().evidence, "passed");
    EXPECT_EQ(machine.row().mark, "~");
}

// --- Files that are written without a movement

TEST(Files, WrittenInPlace) {
    const Fd base{.flags = O_RDWR, .size = 4096};
    auto touched = base, larger = base;
    touched.modified = 2;
    larger.modified = 2, larger.size = 8192;
    Watched machine(base.text() + "step 1\n" + touched.text() + "step 2\nstep 3\n" + larger.text(), {ran(100)});
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
    Watched machine(base.text() + reader.text() + "step 1\n" + touched.text() + seen.text(), {ran(100), ran(200)});
    machine.next({ran(100), ran(200, false, true)}); // 200 cannot write there
    EXPECT_TRUE(machine.files.rows.empty());
}

TEST(Files, AFileThatIsMadeAndWrittenInPlace) {
    const Fd made{.flags = O_RDWR, .size = 8192, .modified = 150};
    const Fd old{.number = 4, .flags = O_RDWR, .inode = 901, .modified = 20};
    Watched machine("clock 100.000\n" + Fd{.number = 5, .inode = 5}.text() + "step 1\n" + made.text() + old.text(),
                    {ran(100)});
    machine.next({ran(100, false, true)}, {process(100, 0, 8192)});
    ASSERT_EQ(machine.files.rows.size(), 1U);
    EXPECT_EQ(machine.row().evidence, "written");
    EXPECT_FALSE(machine.row().growth); // its size before is not known
}

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
    Watched machine(all(0) + "step 1\n" + all(50), {ran(100)});
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
    Watched machine(Fd{.mount = 9, .inode = 6, .path = "socket:[6]"}.text() + "step 1\nstep 2\n" +
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
    Watched machine(remote.text() + "step 1\n" + later.text(), {ran(100)});
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
    Watched machine(table + at(0) + "step 1\n" + at(50), {ran(100)});
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
    Watched machine(at(0) + "step 1\n" + at(50), {ran(100)});
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
        Watched machine(at(10, "/srv/data") + "step 1\n" + at(50, "/srv/data") + "step 2\n" + at(60, "/srv/data") +
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
    Watched machine(Fd{}.text() + Fd{.pid = 200, .inode = 2}.text() + Fd{.pid = 300, .inode = 3}.text() +
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

// --- Many

TEST(Files, TheLargestAreDescribedAndTheRestAddedUp) {
    std::string first, second;
    for (int i = 0; i < 600; i++) {
        Fd fd{.number = i, .position = 1000, .inode = static_cast<uint64_t>(i + 1)};
        first += fd.text();
        fd.position = i < 100 ? 1000 - 1 : 1000 + static_cast<uint64_t>(i);
        second += fd.text();
    }
    Watched machine(first + "step 1\n" + second, {ran(100)});
    machine.next({ran(100)}, {process(100, 1000000, 0)});
    EXPECT_EQ(machine.files.rows.size(), 500U);
    EXPECT_EQ(machine.all.one()->moved, 600U);
    ASSERT_TRUE(machine.files.rest);
    EXPECT_EQ(machine.files.rest->backward, 100U);
    uint64_t forward = *machine.files.rest->forward;
    for (auto& row : machine.files.rows) forward += *row.forward;
    EXPECT_EQ(forward, (100U + 599U) * 500U / 2);
}

// A machine whose processes have open files, and the rows that are made of these.
#pragma once

#include "model/file.h"
#include "sample/file.h"
#include "tests/unit/made.h"

#include <cstdint>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>

#include <gtest/gtest.h>

inline constexpr auto FileMounts = "file /proc/self/mountinfo <<END\n"
                                   "20 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
                                   "21 20 0:20 / /proc rw - proc proc rw\n"
                                   "22 20 0:21 / /dev rw - devtmpfs udev rw\n"
                                   "23 20 8:17 / /srv rw - xfs /dev/sdb1 rw\n"
                                   "24 20 0:50 / /nas rw - nfs4 nas:/x rw\n"
                                   "END\n";

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

// A process that has run since the sample before.
inline Ran ran(int pid, bool fresh = false, bool wrote = false) { return {pid, 5000, 1, fresh, wrote, 'S'}; }

// What a process read and wrote in the interval.
inline ProcRow process(uint64_t pid, std::optional<uint64_t> read, std::optional<uint64_t> written) {
    ProcRow row;
    row.pid = pid, row.start = 5000;
    row.name = "worker" + std::to_string(pid), row.user = "root", row.unit = "worker.service";
    row.read_chars = read, row.write_chars = written;
    return row;
}

// A machine whose steps take a second, and what its files did in each.
struct FileMachine {
    Made made;
    FileSampler sampler{Root()};
    FileSample now;
    Rows<FilesRow> all;
    Rows<FileRow> files;
    std::map<uint64_t, std::pair<uint64_t, uint64_t>> transferred; // by pid, since it began
    FileMachine(const std::string& lines, const std::vector<Ran>& first) : made(FileMounts + lines) {
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

// Made-up intervals for the tests of the rules.
#pragma once

#include "why/findings.h"

#include <string>
#include <utility>

inline constexpr int64_t Second = 1000000;
inline constexpr uint64_t MiB = 1048576, GiB = 1073741824;

// An interval of two seconds on a calm machine of 16 CPUs and 64 GiB.
struct WhyMachine {
    Interval interval;
    Limits limits;

    template <typename R> static R& put(Rows<R>& rows, R row) {
        rows.sampled = true;
        rows.elapsed_us = 2 * Second;
        rows.rows.push_back(std::move(row));
        return rows.rows.back();
    }

    WhyMachine() {
        // Rows are changed after others have been added.
        interval.processes.rows.reserve(1000), interval.cgroups.rows.reserve(1000), interval.files.rows.reserve(1000);
        interval.elapsed_us = 2 * Second;
        interval.number = 1;
        CpuRow cpu;
        cpu.cpus = 16;
        cpu.running = 2, cpu.blocked = 0, cpu.forks = 28;
        cpu.user_us = 2 * Second, cpu.nice_us = 0, cpu.system_us = Second, cpu.iowait_us = 0;
        cpu.irq_us = 0, cpu.softirq_us = 0, cpu.steal_us = 0, cpu.idle_us = 29 * Second;
        put(interval.cpu, cpu);
        MemoryRow memory;
        memory.total = 64 * GiB, memory.available = 40 * GiB;
        memory.swap_total = 8 * GiB, memory.swap_free = 8 * GiB;
        memory.swap_in = memory.swap_out = memory.direct_scanned = memory.refaults = memory.oom_kills = 0;
        put(interval.memory, memory);
        for (auto* resource : {"cpu", "memory", "io"}) pressure(resource, 0, 0);
    }

    CpuRow& cpu() { return interval.cpu.rows[0]; }
    MemoryRow& memory() { return interval.memory.rows[0]; }
    // Percent of the interval.
    void pressure(const std::string& resource, double some, double full) {
        for (auto& row : interval.pressure.rows)
            if (row.resource == resource) {
                row.some_us = static_cast<uint64_t>(some * 20000), row.full_us = static_cast<uint64_t>(full * 20000);
                return;
            }
        put(interval.pressure, PressureRow{resource, 0, 0});
        pressure(resource, some, full);
    }
    // So many percent of the CPUs are used.
    void busy(double share) {
        cpu().user_us = static_cast<uint64_t>(share * 320000), cpu().system_us = 0;
        cpu().idle_us = 32 * Second - *cpu().user_us;
    }
    ProcRow& process(uint64_t pid, const std::string& name, const std::string& cgroup = "/") {
        ProcRow row;
        row.pid = pid, row.start = pid * 7 + 1, row.name = name, row.cgroup = cgroup, row.ran = true;
        return put(interval.processes, row);
    }
    // A disk that writes, MB/s, each write waiting so long, so many under way.
    DiskRow& disk(const std::string& name, const std::string& device, double speed, double wait_ms, double queue) {
        DiskRow row;
        row.name = name, row.device = device, row.kind = "disk";
        row.writes = 800, row.write_us = static_cast<uint64_t>(wait_ms * 1000 * 800);
        row.write_bytes = static_cast<uint64_t>(speed * 2 * 1048576);
        row.reads = 0, row.read_us = 0, row.read_bytes = 0;
        row.queue_us = static_cast<uint64_t>(queue * 2 * Second), row.busy_us = 2 * Second;
        return put(interval.disks, row);
    }
    void groupIo(const std::string& path, const std::string& device, uint64_t written, uint64_t read = 0) {
        CgroupIoRow row;
        row.path = path, row.device = device, row.write_bytes = written, row.read_bytes = read;
        put(interval.cgroupDevices, row);
    }
    FileRow& file(const ProcRow& process, const std::string& path, const std::string& disk, uint64_t forward) {
        FileRow row;
        row.pid = process.pid, row.start = process.start, row.descriptor = 5, row.name = process.name;
        row.path = path, row.disk = disk, row.forward = forward, row.flags = "write", row.mark = "=";
        return put(interval.files, row);
    }
    CgroupRow& group(const std::string& path) {
        CgroupRow row;
        row.path = path;
        return put(interval.cgroups, row);
    }

    Findings find() const { return findings(interval, limits); }
};

// A disk that is under pressure as long as its writes wait for more than 20 ms, and more than one at a time.
inline WhyMachine slowDisk(double wait_ms = 41, double queue = 17) {
    WhyMachine machine;
    machine.pressure("io", 71.5, 40);
    machine.disk("sdb", "8:16", 200, wait_ms, queue);
    return machine;
}

// /srv, so many percent of it used.
inline FsRow filesystem(double used) {
    FsRow row;
    row.point = "/srv", row.device = "8:17", row.type = "ext4";
    row.size = 1000 * GiB, row.used = static_cast<uint64_t>(used * 10 * static_cast<double>(GiB));
    row.available = 1000 * GiB - *row.used;
    row.inodes = 1000, row.inodes_free = 900;
    return row;
}

inline const WhyRow* findingOf(const Findings& found, std::string_view resource, std::string_view object = {}) {
    for (auto& row : found.why)
        if (row.resource == resource && (object.empty() || row.object == object)) return &row;
    return nullptr;
}

// The culprits of a finding: "rsync 92~, ? 8?".
inline std::string culprits(const Findings& found, std::string_view resource, std::string_view object = {}) {
    std::string text;
    const auto* why = findingOf(found, resource, object);
    if (!why) return "no finding";
    uint64_t sum = 0;
    for (auto& row : found.who) {
        if (row.rank != why->rank) continue;
        sum += row.share;
        text.append(text.empty() ? "" : ", ").append(row.role.empty() ? "" : row.role + " of "); // of others: how many
        text.append(row.mark == '?' ? "?" : row.name).append(" ").append(std::to_string(row.share));
        text += row.mark;
    }
    return sum == 100 ? text : text + " in all " + std::to_string(sum);
}

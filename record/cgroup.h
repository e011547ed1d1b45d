// Control groups (CGROUP), what each did on every device (CGROUPIO), and how many there are (CGROUPS). A group's
// figures have those of the groups below it.
#pragma once

#include "record/kind.h"

#include <cstdint>
#include <optional>
#include <string>

struct CgroupRow {
    std::string path;   // /system.slice/ssh.service; of the root /
    std::string name;   // of a container or pod its name, or the start of its id; of others the last part of the path
    std::string kind;   // root, slice, unit, scope, container, pod, group
    bool named = false; // 0: no file has a name for this id
    std::optional<uint64_t> cpu_us, user_us, system_us;
    std::optional<uint64_t> periods, throttled_periods, throttled_us; // of its quota; periods of 100 ms in general
    std::optional<uint64_t> read_bytes, write_bytes, reads, writes;   // once, however many devices count them
    std::optional<uint64_t> cpu_some_us, cpu_full_us;                 // stalls, as in PSI; version 2 only
    std::optional<uint64_t> memory_some_us, memory_full_us, io_some_us, io_full_us;
    std::optional<uint64_t> memory_high, memory_max, oom_kills;      // how often it met its limits
    std::optional<uint64_t> memory, memory_limit, memory_high_limit; // limits that are not set are empty
    std::optional<uint64_t> swap, swap_limit, pids, pids_limit;
    std::optional<double> quota; // CPUs
};
inline constexpr auto CgroupKind = kind<CgroupRow>(
    "CGROUP", id("path", &CgroupRow::path), label("name", &CgroupRow::name), label("kind", &CgroupRow::kind),
    level("named", "", &CgroupRow::named), amount("cpu", "us", &CgroupRow::cpu_us),
    amount("user", "us", &CgroupRow::user_us), amount("system", "us", &CgroupRow::system_us),
    amount("periods", "", &CgroupRow::periods), amount("throttled_periods", "", &CgroupRow::throttled_periods),
    amount("throttled", "us", &CgroupRow::throttled_us), amount("read_bytes", "B", &CgroupRow::read_bytes),
    amount("write_bytes", "B", &CgroupRow::write_bytes), amount("reads", "", &CgroupRow::reads),
    amount("writes", "", &CgroupRow::writes), amount("cpu_some", "us", &CgroupRow::cpu_some_us),
    amount("cpu_full", "us", &CgroupRow::cpu_full_us), amount("memory_some", "us", &CgroupRow::memory_some_us),
    amount("memory_full", "us", &CgroupRow::memory_full_us), amount("io_some", "us", &CgroupRow::io_some_us),
    amount("io_full", "us", &CgroupRow::io_full_us), amount("memory_high", "", &CgroupRow::memory_high),
    amount("memory_max", "", &CgroupRow::memory_max), amount("oom_kills", "", &CgroupRow::oom_kills),
    level("memory", "B", &CgroupRow::memory), level("memory_limit", "B", &CgroupRow::memory_limit),
    level("memory_high_limit", "B", &CgroupRow::memory_high_limit), level("swap", "B", &CgroupRow::swap),
    level("swap_limit", "B", &CgroupRow::swap_limit), level("pids", "", &CgroupRow::pids),
    level("pids_limit", "", &CgroupRow::pids_limit), level("quota", "", &CgroupRow::quota));

struct CgroupIoRow {
    std::string path;   // of the group
    std::string device; // 8:16
    std::optional<uint64_t> read_bytes, write_bytes, reads, writes, discard_bytes, discards;
    std::string disk; // the device's name at that time: sda; empty: not known
};
inline constexpr auto CgroupIoKind = kind<CgroupIoRow>(
    "CGROUPIO", id("path", &CgroupIoRow::path), id("dev", &CgroupIoRow::device),
    amount("read_bytes", "B", &CgroupIoRow::read_bytes), amount("write_bytes", "B", &CgroupIoRow::write_bytes),
    amount("reads", "", &CgroupIoRow::reads), amount("writes", "", &CgroupIoRow::writes),
    amount("discard_bytes", "B", &CgroupIoRow::discard_bytes), amount("discards", "", &CgroupIoRow::discards),
    label("disk", &CgroupIoRow::disk));

struct CgroupsRow {
    uint64_t version = 2; // of the control groups
    uint64_t groups = 0;  // without the root
    uint64_t idle = 0;    // of them: nothing moved in them
};
inline constexpr auto CgroupsKind =
    kind<CgroupsRow>("CGROUPS", level("version", "", &CgroupsRow::version), level("groups", "", &CgroupsRow::groups),
                     level("idle", "", &CgroupsRow::idle));

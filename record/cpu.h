// CPU time and the scheduler, of the machine (CPU) and of each core (CORE).
#pragma once

#include "record/kind.h"

#include <cstdint>
#include <optional>

// CPU time in an interval, in microseconds; the kernel counts whole ticks. As in the kernel, user includes guest and
// nice includes guest_nice.
struct CpuTimes {
    std::optional<uint64_t> user_us, nice_us, system_us, idle_us, iowait_us, irq_us, softirq_us, steal_us;
    std::optional<uint64_t> guest_us, guest_nice_us;
};

struct CpuRow : CpuTimes {
    std::optional<uint64_t> cpus;                                  // online
    std::optional<uint64_t> running, blocked;                      // tasks at the end
    std::optional<uint64_t> switches, interrupts, softirqs, forks; // in the interval
    std::optional<double> load1, load5, load15;                    // mean number of tasks that run or wait for a disk
    std::optional<uint64_t> tasks;                                 // threads on the machine
    std::optional<uint64_t> mhz;                                   // mean over the cores, or over some of them
};
inline constexpr auto CpuKind = kind<CpuRow>(
    "CPU", amount("user", "us", &CpuRow::user_us), amount("nice", "us", &CpuRow::nice_us),
    amount("system", "us", &CpuRow::system_us), amount("idle", "us", &CpuRow::idle_us),
    amount("iowait", "us", &CpuRow::iowait_us), amount("irq", "us", &CpuRow::irq_us),
    amount("softirq", "us", &CpuRow::softirq_us), amount("steal", "us", &CpuRow::steal_us),
    amount("guest", "us", &CpuRow::guest_us), amount("guest_nice", "us", &CpuRow::guest_nice_us),
    level("cpus", "", &CpuRow::cpus), level("running", "", &CpuRow::running), level("blocked", "", &CpuRow::blocked),
    amount("switches", "", &CpuRow::switches), amount("interrupts", "", &CpuRow::interrupts),
    amount("softirqs", "", &CpuRow::softirqs), amount("forks", "", &CpuRow::forks), level("load1", "", &CpuRow::load1),
    level("load5", "", &CpuRow::load5), level("load15", "", &CpuRow::load15), level("tasks", "", &CpuRow::tasks),
    level("mhz", "MHz", &CpuRow::mhz));

struct CoreRow : CpuTimes {
    uint64_t core = 0; // the kernel's number
    std::optional<uint64_t> mhz;
};
inline constexpr auto CoreKind =
    kind<CoreRow>("CORE", id("core", &CoreRow::core), amount("user", "us", &CoreRow::user_us),
                  amount("nice", "us", &CoreRow::nice_us), amount("system", "us", &CoreRow::system_us),
                  amount("idle", "us", &CoreRow::idle_us), amount("iowait", "us", &CoreRow::iowait_us),
                  amount("irq", "us", &CoreRow::irq_us), amount("softirq", "us", &CoreRow::softirq_us),
                  amount("steal", "us", &CoreRow::steal_us), amount("guest", "us", &CoreRow::guest_us),
                  amount("guest_nice", "us", &CoreRow::guest_nice_us), level("mhz", "MHz", &CoreRow::mhz));

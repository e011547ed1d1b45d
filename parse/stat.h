// /proc/stat: CPU time and the scheduler's counters since boot.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

// CPU time in ticks. Kernels have added columns at the end over time: `columns` says how many there are.
struct CpuTicks {
    uint64_t user = 0, nice = 0, system = 0, idle = 0, iowait = 0, irq = 0, softirq = 0, steal = 0;
    uint64_t guest = 0, guest_nice = 0; // part of user and nice
    unsigned columns = 0;
};

struct CoreTicks : CpuTicks {
    uint64_t core = 0; // the kernel's number; offline cores have no line
};

struct SystemStat {
    CpuTicks all;
    std::vector<CoreTicks> cores;
    std::optional<uint64_t> switches, interrupts, softirqs, forks; // since boot
    std::optional<uint64_t> running, blocked;                      // tasks now
    std::optional<int64_t> boot_s;                                 // when the machine started, seconds since 1970
};

// "cpu  1393280 32966 572056 13343292 6130 0 17875 0 23933 0". Fills `stat` anew, keeping its room. False: the text has
// no line of all CPUs.
bool parseStat(std::string_view text, SystemStat& stat);

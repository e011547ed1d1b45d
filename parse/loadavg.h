// /proc/loadavg: "0.20 0.18 0.12 1/80 11206".
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

struct LoadAverage {
    double one = 0, five = 0, fifteen = 0; // tasks that run or wait for a disk, mean of so many minutes
    uint64_t runnable = 0, tasks = 0;      // threads on the machine now
    uint64_t last_pid = 0;                 // of a process or thread that began; 0: the kernel does not tell
};

// None: not in this form.
std::optional<LoadAverage> parseLoadAverage(std::string_view text);

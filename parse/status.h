// The text of /proc/PID/status.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

// Empty: the file has no such line. A kernel thread has no memory of its own.
struct Status {
    std::optional<int64_t> vm_size_kb, vm_pin_kb, vm_rss_kb, vm_data_kb, vm_stk_kb, vm_lib_kb, vm_swap_kb;
    std::optional<int64_t> threads;
    std::optional<int64_t> uid; // the real one
};

Status parseStatus(std::string_view text);

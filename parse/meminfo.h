// The text of /proc/meminfo as the classic form reads it: a line that is missing is 0, and numbers are those of
// strtoll. The new form has to know what is missing; it reads the file with parse/keyed.h.
#pragma once

#include <cstdint>
#include <string_view>

// In units of 1024 bytes. One whose line is missing is 0.
struct MemoryKB {
    int64_t mem_total_kb = 0, mem_free_kb = 0, active_kb = 0, buffers_kb = 0, cached_kb = 0;
    int64_t swap_total_kb = 0, swap_free_kb = 0, swap_cached_kb = 0;
};

MemoryKB parseMeminfo(std::string_view text);

// The text of /proc/PID/io and of /proc/PID/task/TID/io.
#pragma once

#include <cstdint>
#include <string_view>

// Counts since the start of the process or thread. One whose line is missing is 0.
struct IO {
    int64_t rchar = 0, wchar = 0;            // bytes through read and write calls
    int64_t syscr = 0, syscw = 0;            // these calls
    int64_t read_bytes = 0, write_bytes = 0; // bytes from and to storage
};

IO parseIO(std::string_view text);

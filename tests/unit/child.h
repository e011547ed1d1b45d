// Processes that a test forks.
#pragma once

#include <unistd.h>

// Writes which lines were reached. It is there only in programs that are linked for coverage.
extern "C" [[gnu::weak]] void __gcov_dump();

// Ends the process as _exit does. When coverage is measured, it is written first.
[[noreturn]] inline void endChild(int status) {
    if (__gcov_dump) __gcov_dump();
    _exit(status);
}

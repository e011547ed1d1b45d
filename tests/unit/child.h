// Processes that a test forks.
#pragma once

#include <unistd.h>

#ifdef WYRT_COVERAGE
extern "C" void __gcov_dump(); // the compiler's: writes which lines were reached
#endif

// Ends the process as _exit does. When coverage is measured, it is written first.
[[noreturn]] inline void endChild(int status) {
#ifdef WYRT_COVERAGE
    __gcov_dump();
#endif
    _exit(status);
}

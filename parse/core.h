// The lines of /proc/stat that show one core each, as the classic form reads them. parse/stat.h is for the new form: it
// says which columns there are, and passes over a number that does not fit where strtoll gives the largest.
#pragma once

#include <cstdint>
#include <string_view>

// Clock ticks since boot. Columns that the kernel does not print are 0.
struct Core {
    int id = 0; // the number in "cpu3"
    int64_t user = 0, nice = 0, system = 0, idle = 0, iowait = 0, irq = 0, softirq = 0, steal = 0, guest = 0,
            guest_nice = 0;
};

// "cpu3 393280 2966 72056 3343292 6130 0 17875 0 23933 0". False, and nothing set, for a line with less than the first
// seven columns, which every kernel has.
bool parseCore(std::string_view line, Core& core);

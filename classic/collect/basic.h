// System-wide CPU, memory and virtual memory, and each core's CPU: /proc/stat, /proc/meminfo, /proc/vmstat.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

// One system-wide sample, or (result) the figures of an interval. A sample has the kernel's counters.
struct TBasic {
    // CPU: jiffies since boot; result: percent of all CPU time in the interval.
    double usr = 0, nice = 0, sys = 0, iowait = 0, idle = 0, irq = 0, softirq = 0, steal = 0;
    // Quirk: in the result these two stay jiffies of the interval, not percent. Nothing prints them. Seen by
    // tests/unit/test_basicrates.cpp.
    double guest = 0, guest_nice = 0;
    int64_t running = 0, blocked = 0;                                      // tasks now
    double intr = 0, ctxt = 0, fork = 0;                                   // since boot; result: per second
    double memtotal = 0, memfree = 0, active = 0, buffers = 0, cached = 0; // KB now
    double swaptotal = 0, swapfree = 0, swapcached = 0;                    // KB now
    double pgin = 0, pgout = 0;                                            // KB since boot; result: bytes per second
    double swapin = 0, swapout = 0; // pages since boot; result: pages per second, like all that follow
    double pgfree = 0;
    double pgscank = 0, pgscand = 0;   // scanned by kswapd, directly: dma, dma32 and normal zones
    double pgstealk = 0, pgsteald = 0; // reclaimed by kswapd, directly
    double pgrotated = 0;
    double vmeff = 0; // result only: percent of the scanned pages that were reclaimed
    double pgmajfault = 0;
};

// One core; fields as in TBasic.
struct TCPU {
    int id = 0; // the number in "cpu3"
    double usr = 0, nice = 0, sys = 0, iowait = 0, idle = 0, irq = 0, softirq = 0, steal = 0;
    double guest = 0, guest_nice = 0;
};

// Slots 0 and 1 are the samples, slot 2 the result.
struct TBasicSlots {
    TBasic basic[3];
    std::vector<TCPU> cpu[3];
};

// Takes a sample into slot `icur` and computes slot 2 from it and slot `ipre`, which lie `seconds` apart. Files that
// cannot be opened leave the part of slot 2 that they feed as it was. Always 0.
int getbasicperf(int CallingIndex, int icur, int ipre, double seconds, TBasicSlots& slots);

// What one line of /proc/stat and of /proc/vmstat adds to a sample.
void getStatLine(std::string_view line, TBasic& basic, std::vector<TCPU>& cpu);
void getVmLine(std::string_view line, TBasic& basic);

// The processes that ran since the last sample: what the samplers of threads and files look at.
#pragma once

#include <cstdint>

struct Ran {
    int pid = 0;
    uint64_t start = 0;   // clock ticks since boot; pid and start together are one process
    uint64_t threads = 0; // now
    bool fresh = false;   // it began, or executed another program
    bool wrote = false;   // it wrote to storage (or to the page cache, as what is written later is charged at once)
    char state = 0;       // of the thread group's leader
};

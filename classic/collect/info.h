// The facts of the machine, gathered once: from the C library and from shell commands that every distribution has.
#pragma once

#include "base/text.h"

#include <cstdint>

struct TSystemInfo {
    Text<64> hostname;
    Text<64> os;             // kernel name, release and hardware platform
    Text<64> lx_distributor; // distribution: identifier, description, release, code name
    Text<64> lx_description;
    Text<64> lx_release;
    Text<64> lx_code;
    Text<64> sn;       // serial number
    Text<64> model;    // product name
    int lcpucount = 0; // logical CPUs
    int64_t clockMHz = 0;
    int HTmode = 0;       // siblings of a core; 0 when the number of cores is not known
    int corecount = 0;    // cores of a package
    int siblingcount = 0; // siblings of a package
    Text<64> cpumodel;
    int64_t memoryMB = 0;
    int64_t swapMB = 0;
    int64_t boottime = 0; // seconds since the epoch
    int pagesize = 0;     // bytes
    int clocktick = 100;  // per second
};

// Fills the record. A command that is missing or prints nothing leaves its field empty or 0.
void getsysteminfo(TSystemInfo& info);

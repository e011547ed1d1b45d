#include "monitor/probes.h"

#include "collect/output.h"
#include "collect/system.h"
#include "monitor/options.h"

// Quirk: the two wordings differ in a letter here and a bracket there; scripts know both. Seen by
// tests/worlds/probes-table and probes-records.
static constexpr const char* NoPositions[] = {
    "*** \"Delta of file position\" is not available.(No privilege or This linux version does not support "
    "/proc/[PID]/fdinfo directory.)\n",
    "^info,Delta of file position,Not available.(No privilege or This linux version does not support "
    "/proc/[PID]/fdinfo directory.)$\n",
};
static constexpr const char* NoProcessIO[] = {
    "*** \"Process I/O(Charactor/SystemCall/Bytes)\" is not available.(No privilege or This linux version does not "
    "support /proc/[PID]/io file.)\n",
    "^info,Process I/O(Charactor/SystemCall/Bytes),Not available.(No privilege or This linux version does not support "
    "/proc/[PID]/io file.)$\n",
};
static constexpr const char* NoVirtualMemory[] = {
    "*** \"Virtual memory activities\" is not available.(No privilege or This linux version does not support "
    "/proc/vmstat file.)\n",
    "^info,Virutal memory activities,Not available.(No privilege or This linux version does not support /proc/vmstat "
    "file.)$\n",
};
static constexpr const char* NoDisks[] = {
    "*** \"Disk activities\" is not available.(No privilege or This linux version does not support /proc/diskstats "
    "file.\n",
    "^info,Disk activities,Not available.(No privilege or This linux version does not support /proc/diskstats "
    "file.)$\n",
};

static void tell(const char* const (&wordings)[2]) { sayText(wordings[shooting ? 1 : 0]); }

void probeKernel() {
    uint64_t inode = 0;
    if (!getInode("/proc/1/fdinfo", inode)) tell(NoPositions);
    proc_io_file = canOpen("/proc/1/io") ? 1 : 0;
    if (!proc_io_file) {
        processIO = 0;
        tell(NoProcessIO);
    }
    if (!canOpen("/proc/vmstat")) {
        // Quirk: without paging figures the I/O of processes is off, too. Seen by tests/worlds/probes-no-vmstat-no-io.
        basicSON = processIO = proc_io_file = 0;
        tell(NoVirtualMemory);
    }
    if (!canOpen("/proc/diskstats")) {
        diskrowcount = 0;
        tell(NoDisks);
    }
}

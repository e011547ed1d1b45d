#include "classic/monitor/probes.h"

#include "base/door.h"
#include "base/output.h"
#include "classic/monitor/options.h"
#include "classic/monitor/report.h"
#include "record/classic/host.h"

namespace {
// The note about something that this kernel does not supply.
struct TLack {
    const char* line; // of the table form
    const char* note; // of the record
    TRecord<TLack> record;
};
} // namespace

template <const Kind& kind> static constexpr TLack lackOf(const char* line, const char* note) {
    return {line, note, recordOf<kind, TLack, &TLack::note>};
}

// Quirk: the wordings of table and record differ in a letter and a bracket. Scripts depend on both. Seen by
// tests/worlds/probes-table and probes-records.
static constexpr auto NoPositions = lackOf<classic::NoPositionsKind>(
    "*** \"Delta of file position\" is not available.(No privilege or This linux version does not support "
    "/proc/[PID]/fdinfo directory.)\n",
    "Not available.(No privilege or This linux version does not support /proc/[PID]/fdinfo directory.)");
static constexpr auto NoProcessIO = lackOf<classic::NoProcessIOKind>(
    "*** \"Process I/O(Charactor/SystemCall/Bytes)\" is not available.(No privilege or This linux version does not "
    "support /proc/[PID]/io file.)\n",
    "Not available.(No privilege or This linux version does not support /proc/[PID]/io file.)");
static constexpr auto NoVirtualMemory = lackOf<classic::NoVirtualMemoryKind>(
    "*** \"Virtual memory activities\" is not available.(No privilege or This linux version does not support "
    "/proc/vmstat file.)\n",
    "Not available.(No privilege or This linux version does not support /proc/vmstat file.)");
static constexpr auto NoDisks = lackOf<classic::NoDisksKind>(
    "*** \"Disk activities\" is not available.(No privilege or This linux version does not support /proc/diskstats "
    "file.\n",
    "Not available.(No privilege or This linux version does not support /proc/diskstats file.)");

static void tell(const TLack& lack) {
    if (shooting) dispRecord(lack.record, lack);
    else sayText(lack.line);
}

void probeKernel() {
    uint64_t inode = 0;
    if (!inodeOf("/proc/1/fdinfo", inode)) tell(NoPositions);
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

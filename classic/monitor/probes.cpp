#include "classic/monitor/probes.h"

#include "base/door.h"
#include "base/output.h"
#include "classic/monitor/options.h"
#include "classic/monitor/records.h"

namespace {
// What to say of something that this kernel does not supply.
struct TLack {
    const char* line; // of the table form
    const char* tag;
    const char* note;
};
} // namespace

// Quirk: the two wordings differ in a letter here and a bracket there; scripts know both. Seen by
// tests/worlds/probes-table and probes-records.
static constexpr TLack NoPositions = {
    "*** \"Delta of file position\" is not available.(No privilege or This linux version does not support "
    "/proc/[PID]/fdinfo directory.)\n",
    "info,Delta of file position",
    "Not available.(No privilege or This linux version does not support /proc/[PID]/fdinfo directory.)",
};
static constexpr TLack NoProcessIO = {
    "*** \"Process I/O(Charactor/SystemCall/Bytes)\" is not available.(No privilege or This linux version does not "
    "support /proc/[PID]/io file.)\n",
    "info,Process I/O(Charactor/SystemCall/Bytes)",
    "Not available.(No privilege or This linux version does not support /proc/[PID]/io file.)",
};
static constexpr TLack NoVirtualMemory = {
    "*** \"Virtual memory activities\" is not available.(No privilege or This linux version does not support "
    "/proc/vmstat file.)\n",
    "info,Virutal memory activities",
    "Not available.(No privilege or This linux version does not support /proc/vmstat file.)",
};
static constexpr TLack NoDisks = {
    "*** \"Disk activities\" is not available.(No privilege or This linux version does not support /proc/diskstats "
    "file.\n",
    "info,Disk activities",
    "Not available.(No privilege or This linux version does not support /proc/diskstats file.)",
};

static constexpr TField<TLack> LackFields[] = {
    {{"note", Form::Text, ""}, [](const TLack& lack) -> TValue { return std::string_view(lack.note); }},
};

static TRecord<TLack> recordOf(const TLack& lack) { return {lack.tag, LackFields}; }

void tellProbeRecords(TRecordList& list) {
    for (auto* lack : {&NoPositions, &NoProcessIO, &NoVirtualMemory, &NoDisks}) tellRecord(recordOf(*lack), list);
}

static void tell(const TLack& lack) {
    if (shooting) dispRecord(recordOf(lack), lack);
    else sayText(lack.line);
}

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

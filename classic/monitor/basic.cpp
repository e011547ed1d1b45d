#include "classic/collect/basic.h"

#include "classic/collect/settings.h"
#include "classic/monitor/options.h"
#include "classic/monitor/report.h"
#include "classic/monitor/reports.h"
#include "record/classic/basic.h"

// --- Values

static double share(double part, double whole) { return whole > 0 ? part * 100 / whole : 0; }

static double user(const auto& row) { return row.usr + row.nice; }
static double sysAll(const auto& row) { return row.sys + row.irq + row.softirq; }
static double memory(const TBasic& b) { return b.memtotal * 1024; }
static double memoryUse(const TBasic& b) { return share(b.memtotal - b.memfree - b.buffers - b.cached, b.memtotal); }
static double buffers(const TBasic& b) { return share(b.buffers, b.memtotal); }
static double cache(const TBasic& b) { return share(b.cached, b.memtotal); }
static double swap(const TBasic& b) { return b.swaptotal * 1024; }
static double swapUse(const TBasic& b) { return share(b.swaptotal - b.swapfree, b.swaptotal); }
static double swapHot(const TBasic& b) { return share(b.swaptotal - b.swapfree - b.swapcached, b.swaptotal); }

// --- Columns and records

// Shown as 32 bits.
template <auto Value> static TCell tasks(const TBasic& b) { return plain(static_cast<int>(b.*Value)); }

static constexpr TColumn<TBasic> CPUColumns[] = {
    {"USER", 6, "%", " ", countCell<user<TBasic>>},
    {"SYSall", 6, "%", " ", countCell<sysAll<TBasic>>},
    {"SYS", 6, "%", " ", countCell<&TBasic::sys>},
    {"IRQ", 6, "%", " ", countCell<&TBasic::irq>},
    {"S-IRQ", 6, "%", " ", countCell<&TBasic::softirq>},
    {"WAIT", 6, "%", " ", countCell<&TBasic::iowait>},
    {"IDLE", 6, "%", " ", countCell<&TBasic::idle>},
    {"STEAL", 6, "", " ", countCell<&TBasic::steal>},
    {"RUN", 6, "", " ", tasks<&TBasic::running>},
    {"BLOCK", 6, "", " ", tasks<&TBasic::blocked>},
    {"FORK", 6, "", " ", countCell<&TBasic::fork>},
    {"INTR", 6, "", " ", countCell<&TBasic::intr>},
    {"CTXT", 6, "", " ", countCell<&TBasic::ctxt>},
    // Quirk: major faults end the CPU line when the scan columns are off, otherwise they follow those columns at the
    // end of the memory line. Seen by tests/worlds/basic-without-scan.
    {"MajFlt", 6, "", " ", countCell<&TBasic::pgmajfault>, &basicSON, 0},
};

static constexpr TColumn<TBasic> MemoryColumns[] = {
    {"MEM", 6, "", " ", bytesCell<memory>},
    {"MEMUSE", 6, "%", " ", countCell<memoryUse>},
    {"BUFFS", 6, "%", " ", countCell<buffers>},
    {"CACHE", 6, "%", " ", countCell<cache>},
    {"SWAP", 6, "", " ", bytesCell<swap>},
    {"SWPUSE", 6, "%", " ", countCell<swapUse>},
    {"SWPHOT", 6, "%", " ", countCell<swapHot>},
    {"PgIn", 6, "", " ", bytesCell<&TBasic::pgin>},
    {"PgOut", 6, "", " ", bytesCell<&TBasic::pgout>},
    {"SwpIn", 6, "", " ", countCell<&TBasic::swapin>},
    {"SwpOut", 6, "", " ", countCell<&TBasic::swapout>},
    {"PgFree", 6, "", " ", countCell<&TBasic::pgfree>},
    {"Rotate", 6, "", " ", countCell<&TBasic::pgrotated>},
    {"VmEff%", 6, "", " ", countCell<&TBasic::vmeff>},
    {"ScanK", 6, "", " ", countCell<&TBasic::pgscank>, &basicSON},
    {"ScanD", 6, "", " ", countCell<&TBasic::pgscand>, &basicSON},
    {"StealK", 6, "", " ", countCell<&TBasic::pgstealk>, &basicSON},
    {"StealD", 6, "", " ", countCell<&TBasic::pgsteald>, &basicSON},
    {"MajFlt", 6, "", "", countCell<&TBasic::pgmajfault>, &basicSON},
};

static constexpr TColumn<TCPU> CoreColumns[] = {
    {"CORE",   6, "", " ", numberCell<&TCPU::id>    },
    {"USER",   6, "", " ", countCell<user<TCPU>>    },
    {"SYSall", 6, "", " ", countCell<sysAll<TCPU>>  },
    {"SYS",    6, "", " ", countCell<&TCPU::sys>    },
    {"IRQ",    6, "", " ", countCell<&TCPU::irq>    },
    {"S-IRQ",  6, "", " ", countCell<&TCPU::softirq>},
    {"WAIT",   6, "", " ", countCell<&TCPU::iowait> },
    {"IDLE",   6, "", " ", countCell<&TCPU::idle>   },
    {"STEAL",  6, "", "",  countCell<&TCPU::steal>  },
};

static double unused(const TBasic&) { return 0; }

static constexpr auto BasicRecord =
    recordOf<classic::BasicKind, TBasic, &TBasic::usr, &TBasic::nice, &TBasic::sys, &TBasic::irq, &TBasic::softirq,
             &TBasic::iowait, &TBasic::idle, &TBasic::steal, &TBasic::running, &TBasic::blocked, &TBasic::fork,
             &TBasic::intr, &TBasic::ctxt, memory, memoryUse, buffers, cache, swap, swapUse, swapHot, &TBasic::pgin,
             &TBasic::pgout, &TBasic::swapin, &TBasic::swapout, &TBasic::pgfree, &TBasic::pgscank, &TBasic::pgscand,
             &TBasic::pgstealk, &TBasic::pgsteald, &TBasic::vmeff, &TBasic::pgrotated, &TBasic::pgmajfault, unused,
             unused, unused>;

static constexpr auto CoreRecord = recordOf<classic::CoreKind, TCPU, &TCPU::id, &TCPU::usr, &TCPU::nice, &TCPU::sys,
                                            &TCPU::irq, &TCPU::softirq, &TCPU::iowait, &TCPU::idle, &TCPU::steal>;

void dispBasicHeader() { dispHeader(classic::BasicKind); }

// --- The report

static void dispSystem(const TBasic& b) {
    dispTitles(CPUColumns);
    sayText("\n");
    dispCells(CPUColumns, b);
    sayText("\n");
    dispTitles(MemoryColumns);
    sayText("\n");
    dispCells(MemoryColumns, b);
    sayText("\n");
}

static void dispCores(const std::vector<TCPU>& cores) {
    for (size_t i = 0; i < cores.size() && i < static_cast<size_t>(EachCoreCount); i++) {
        if (i == 0) dispTitles(CoreColumns), sayText("\n");
        dispCells(CoreColumns, cores[i]);
        sayText("\n");
    }
}

static void dispTables(int CallingIndex, const TBasicSlots& slots) {
    // Quirk: printed in interval 1 only, so never when that one cannot be shown. Seen by tests/worlds/frame-clock-back.
    if (CallingIndex == 1 && ShowBasic == 1)
        sayText("********  PgIn/PgOut is in units of Byte while vmstat or nmon is KByte ********\n");
    if (CallingIndex == 1) sayText("********  SYSall = SYS + IRQ + SoftIRQ                                 ********\n");
    if (ShowBasic == 1) dispSystem(slots.basic[2]);
    dispCores(slots.cpu[2]);
}

static void dispRecords(const TBasicSlots& slots) {
    dispRecord(BasicRecord, slots.basic[2]);
    for (auto& core : slots.cpu[2]) dispRecord(CoreRecord, core);
}

int dispbasic(int CallingIndex, int icur, int ipre) {
    static TBasicSlots slots;
    getbasicperf(CallingIndex, icur, ipre, timediff, slots);
    if (CallingIndex < 1 || !(timediff > 0)) return 0;
    if (shooting) dispRecords(slots);
    else dispTables(CallingIndex, slots);
    return 0;
}

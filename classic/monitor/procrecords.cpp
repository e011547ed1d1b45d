// The process report as records.
#include "classic/monitor/proc.h"
#include "classic/monitor/procrow.h"
#include "classic/monitor/report.h"
#include "classic/monitor/reports.h"
#include "record/classic/proc.h"

// --- The summary

namespace {
struct TProcSummary {
    int proccount;
    const TProcTotals& totals;
    double rsyscall, wsyscall; // calls per second of all ranked processes
};
} // namespace

static const TProcTotals& totals(const TProcSummary& s) { return s.totals; }
static double syscalls(const TProcSummary& s) { return s.rsyscall + s.wsyscall; }

static constexpr auto SummaryRecord =
    recordOf<classic::SummaryKind, TProcSummary, &TProcSummary::proccount, in<totals, &TProcTotals::TotalThreadCount>,
             in<totals, &TProcTotals::SocketCount>, in<totals, &TProcTotals::PipeCount>,
             in<totals, &TProcTotals::ANONCount>, in<totals, &TProcTotals::FileCount>, syscalls,
             &TProcSummary::rsyscall, &TProcSummary::wsyscall>;

// --- A process

namespace {
struct TPIDRow {
    const TTop& top;
    Text<256> arg;
};
} // namespace

static const TCounters& rates(const TPIDRow& r) { return r.top.rates; }
static const TProc& process(const TPIDRow& r) { return *r.top.cur; }
static double ticks(const TCounters& rates) { return rates.usr + rates.sys; }

static constexpr auto PIDRecord =
    recordOf<classic::PIDKind, TPIDRow, in<process, &TProc::pid>, in<process, &TProc::ppid>, in<process, &TProc::user>,
             in<process, &TProc::status>, in<rates, ticks>, in<rates, &TCounters::usr>, in<rates, &TCounters::sys>,
             in<rates, &TCounters::rchar>, in<rates, &TCounters::wchar>, in<rates, &TCounters::syscr>,
             in<rates, &TCounters::syscw>, in<rates, &TCounters::rbytes>, in<rates, &TCounters::wbytes>,
             in<rates, &TCounters::majfault>, in<rates, &TCounters::minfault>, in<process, &TProc::STime>,
             in<process, &TProc::VmSize>, in<process, &TProc::VmPin>, in<process, &TProc::VmRSS>,
             in<process, &TProc::VmData>, in<process, &TProc::VmStack>, in<process, &TProc::VmLib>,
             in<process, &TProc::VmSwap>, in<process, &TProc::threadcnt>, in<process, &TProc::cmd>, &TPIDRow::arg>;

static void dispProcess(const TTop& top, const TProcTable& table) {
    // Quirk: limits of their own, whatever -g says. Seen by tests/worlds/proc-command-records.
    constexpr size_t Most = 255, Cut = 252; // characters; a longer command line ends with three dots
    TPIDRow row{top, {}};
    const auto arg = table.arg(*top.cur);
    if (arg.size() < Most) row.arg = arg;
    else row.arg.add(arg.substr(0, Cut)).add("...");
    dispRecord(PIDRecord, row);
}

void dispProcHeaders() {
    dispHeader(classic::SummaryKind);
    dispHeader(classic::PIDKind);
    dispDescriptorHeader();
}

void dispProcRecords(const TProcReport& report, const TProcView& view) {
    if (view.CallingIndex > 0)
        dispRecord(SummaryRecord, {view.cur.proccount, report.totals, report.totalrsyscall, report.totalwsyscall});
    // Quirk: no limit of rows, and descriptors of processes that have no record. Seen by tests/worlds/limit-records.
    for (auto* top : report.ranked) {
        if (isSelected(*top, view)) dispProcess(*top, view.cur);
        dispDescriptorRecords(*top, view);
    }
}

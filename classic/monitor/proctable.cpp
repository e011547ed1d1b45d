// The process report as a table.
#include "classic/monitor/options.h"
#include "classic/monitor/proc.h"
#include "classic/monitor/procrow.h"
#include "classic/monitor/report.h"

#include "base/order.h"
#include "base/output.h"

// --- Process rows

template <auto... Fields> static double sumOf(const TProcRow& r) { return (... + (r.top.rates.*Fields)); }
static const TProc& process(const TProcRow& r) { return *r.top.cur; }
template <auto Field> static double memoryOf(const TProcRow& r) { return r.top.cur->*Field * 1024.0; }

static constexpr TColumn<TProcRow> ProcessColumns[] = {
    {"PID", 8, "", " ", numberCell<process, &TProc::pid>},
    {"PPID", 8, "", " ", numberCell<process, &TProc::ppid>},
    {"USER", 10, "", " ", textCell<process, &TProc::user>},
    {"S", 1, "", " ", [](const TProcRow& r) -> TCell { return std::string_view(&r.top.cur->status, 1); }},
    {"CPU", 6, "", " ", countCell<sumOf<&TCounters::usr, &TCounters::sys>>, &processCPU},
    {"USR", 6, "", " ", countCell<sumOf<&TCounters::usr>>, &processCPU},
    {"SYS", 6, "", " ", countCell<sumOf<&TCounters::sys>>, &processCPU},
    {"CHAR", 6, "", " ", bytesCell<sumOf<&TCounters::rchar, &TCounters::wchar>>, &processIO},
    {"SYSC", 6, "", " ", countCell<sumOf<&TCounters::syscr, &TCounters::syscw>>, &processIO},
    {"BYTES", 6, "", " ", bytesCell<sumOf<&TCounters::rbytes, &TCounters::wbytes>>, &processIO},
    {"MajFlt", 6, "", " ", countCell<sumOf<&TCounters::majfault>>, &processIO},
    {"START_TIME-yymmdd", 17, "", " ", textCell<&TProcRow::time>, &processTime},
    {"Size", 6, "", " ", bytesCell<memoryOf<&TProc::VmSize>>, &processMemory},
    {"Pin", 6, "", " ", bytesCell<memoryOf<&TProc::VmPin>>, &processMemory},
    {"RSS", 6, "", " ", bytesCell<memoryOf<&TProc::VmRSS>>, &processMemory},
    {"Data", 6, "", " ", bytesCell<memoryOf<&TProc::VmData>>, &processMemory},
    {"Stack", 6, "", " ", bytesCell<memoryOf<&TProc::VmStack>>, &processMemory},
    {"Lib", 6, "", " ", bytesCell<memoryOf<&TProc::VmLib>>, &processMemory},
    {"Swap", 6, "", " ", bytesCell<memoryOf<&TProc::VmSwap>>, &processMemory},
    {"THRD", 4, "", " ", numberCell<process, &TProc::threadcnt>},
    {"Command", 0, "", "", textCell<&TProcRow::command, &TCommand::text>},
    {"", 0, "", "\n", textCell<&TProcRow::command, &TCommand::dots>},
};

// --- Thread rows

namespace {
// A thread that is in both samples.
struct TThreadRow {
    const TThreadInfo& now;
    const TThreadInfo& before;
    const TProc& proc;
    Text<64> time;
    Text<64> description;
};
} // namespace

// Clock ticks between the samples.
static double getTicks(const TThreadInfo& now, const TThreadInfo& before) {
    return (now.usr + now.sys) - before.usr - before.sys;
}
static double threadCPU(const TThreadRow& r) { return timediff > 0 ? getTicks(r.now, r.before) / timediff : 0; }

// The differences are added first and divided then; for processes it is the other way round.
template <auto... Fields> static double threadRate(const TThreadRow& r) {
    return timediff > 0 ? (... + (r.now.*Fields - r.before.*Fields)) / timediff : 0;
}
static const TThreadInfo& thread(const TThreadRow& r) { return r.now; }
static TCell nothing(const TThreadRow&) { return ""; }
static std::string_view threadCommand(const TThreadRow& r) { return r.proc.cmd; }

static constexpr TColumn<TThreadRow> ThreadColumns[] = {
    {"", 8, "", " [", numberCell<thread, &TThreadInfo::threadid>},
    {"", 6, "", "] ", numberCell<thread, &TThreadInfo::pid>},
    {"", 10, "", " ", nothing},
    {"", 1, "", " ", [](const TThreadRow& r) -> TCell { return std::string_view(&r.now.status, 1); }},
    {"", 6, "", " ", countCell<threadCPU>},
    {"", 6, "", " ", countCell<threadRate<&TCounters::usr>>},
    {"", 6, "", " ", countCell<threadRate<&TCounters::sys>>},
    {"", 6, "", " ", bytesCell<threadRate<&TCounters::rchar, &TCounters::wchar>>, &processIO},
    {"", 6, "", " ", countCell<threadRate<&TCounters::syscr, &TCounters::syscw>>, &processIO},
    {"", 6, "", " ", bytesCell<threadRate<&TCounters::rbytes, &TCounters::wbytes>>, &processIO},
    {"", 6, "", " ", countCell<threadRate<&TCounters::majfault>>, &processIO},
    {"", 17, "", " ", textCell<&TThreadRow::time>, &processTime},
    // The description takes the place of the memory columns.
    {"", -52, "", "  ", textCell<&TThreadRow::description>, &processMemory},
    {"", 5, "", "", nothing, &processMemory, 0},
    {"", 0, "", "\n", textCell<threadCommand>},
};

static void dispThread(const TThreadInfo& now, const TThreadInfo& before, const TProc& p) {
    constexpr size_t Most = 50; // characters of a description
    TThreadRow row{now, before, p, {}, {}};
    if (processTime) row.time = GetTimeString(now.STime);
    const auto description = getDescription(now.pid, now.threadid, now.STime);
    if (processMemory && !description.empty())
        row.description.add("[").add(description.view().substr(0, Most)).add("]");
    dispCells(ThreadColumns, row);
}

static void dispThreads(const TTop& top, const TProcView& view, int& lines) {
    static std::vector<TThreadInfo> spare;
    const auto now = view.cur.curthrdbuf(*top.cur);
    const auto before = view.pre.curthrdbuf(*top.pre);
    sortByNumber(now.data(), now.size(), spare, &TThreadInfo::threadid);
    sortByNumber(before.data(), before.size(), spare, &TThreadInfo::threadid);
    const double least = view.TPUThreshold * timediff / 1000.0; // clock ticks in the interval
    auto p = now.begin();
    auto q = before.begin();
    while (p != now.end() && q != before.end() && lines < procrowcount) {
        if (q->threadid < p->threadid) {
            ++q;
        } else if (p->threadid < q->threadid) {
            ++p;
        } else {
            if (getTicks(*p, *q) >= least) {
                dispThread(*p, *q, *top.cur);
                lines++;
            }
            ++p, ++q;
        }
    }
}

// --- The table

static void dispSummary(const TProcReport& report, const TProcView& view) {
    auto& totals = report.totals;
    if (FDMonitoring == 1)
        say("\nTotal Process# : %d, Thread# : %d, Socket# : %d, Pipe# : %d, ANON# : %d, File# : %d", view.cur.proccount,
            totals.TotalThreadCount, totals.SocketCount, totals.PipeCount, totals.ANONCount, totals.FileCount);
    else say("\nTotal Process Count : %d, Thread Count : %d", view.cur.proccount, totals.TotalThreadCount);
    if (proc_io_file != 0)
        say(", Read/Write SysCall by monitored processes: %s/%s", GetValueStrNormalTrim(report.totalrsyscall).c_str(),
            GetValueStrNormalTrim(report.totalwsyscall).c_str());
    sayText("\n");
    dispTitles(ProcessColumns);
}

static void dispProcess(const TTop& top, const TProcView& view) {
    TProcRow row{top, getCommand(view.cur, *top.cur, view.CommandLength), {}};
    if (processTime) row.time = GetTimeString(top.cur->STime);
    dispCells(ProcessColumns, row);
}

void dispProcTable(TProcReport& report, const TProcView& view) {
    if (view.CallingIndex > 0) dispSummary(report, view);
    // Quirk: process, descriptor and thread rows share one count. Seen by tests/worlds/limit-1 to limit-10.
    int lines = 0;
    for (auto* top : report.ranked) {
        if (lines >= procrowcount) return;
        if (isSelected(*top, view)) {
            dispProcess(*top, view), lines++;
            dispDescriptors(*top, view, lines);
        }
        // Quirk: threads have rows even when their process has none. Seen by tests/worlds/threads-without-process.
        dispThreads(*top, view, lines);
    }
}

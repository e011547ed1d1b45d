#include "classic/monitor/proc.h"

#include "base/order.h"
#include "base/output.h"
#include "base/words.h"
#include "classic/collect/messages.h"
#include "classic/collect/settings.h"
#include "classic/collect/slots.h"
#include "classic/monitor/options.h"
#include "classic/monitor/reports.h"

#include <cerrno>

static TProcReport& theReport() {
    static TProcReport report;
    return report;
}

TProcTable* currentProcesses(int icur) { return &theReport().buf[icur]; }

// --- Taking a sample

static void forget(TProcReport& report) {
    for (auto& table : report.buf) table.procs.clear(), table.capacity = table.proccount = 0;
    report.topbufcount = 0;
}

static bool scan(TProcTable& table, TProcTotals& totals) {
    return enoughMemory([&] { table.proccount = getproclist(table, totals); });
}

static bool enlarge(TProcTable& table) {
    constexpr int Spare = 512; // processes that may start until the next scan
    table.capacity = table.proccount + Spare;
    return makeRoom(table.procs, static_cast<size_t>(table.capacity));
}

// Fills the slot. Gives it more room and scans again as long as there are more processes than it holds. False after a
// message. Quirk: the messages of a scan appear again when it is repeated. Seen by tests/worlds/proc-many-new.
static bool getSample(TProcTable& table, TProcTotals& totals) {
    constexpr int Most = 10;
    bool enough = scan(table, totals);
    for (int retries = 0; enough && table.proccount > table.capacity;) {
        enough = enlarge(table) && scan(table, totals);
        if (enough && ++retries > Most) {
            sayText("[ERROR] Unexpected process buffer is being required\n");
            return false;
        }
    }
    if (enough) return true;
    sayError("[ERROR] Failed to get memory for buffer", errno);
    // An incomplete sample is thrown away. Otherwise the next pass would report the missing processes as ended or new.
    table.procs.clear();
    table.capacity = 0;
    return false;
}

static bool makeTop(TProcReport& report, int capacity) {
    if (capacity <= report.topbufcount) return true;
    report.topbufcount = capacity;
    if (makeRoom(report.top, static_cast<size_t>(capacity)) && makeRoom(report.ranked, static_cast<size_t>(capacity)))
        return true;
    sayError("[ERROR] Failed to get memory for top", errno);
    report.topbufcount = 0;
    return false;
}

// --- Matching it with the previous sample

namespace {
// A walk along both samples, which are sorted by pid.
struct TMatch {
    TProcReport& report;
    const TProcTable& cur;
    const TProcTable& pre;
    bool logging;
    void created(const TProc& p) const {
        if (logging) ExtraProcInfo(cur, &p, 'C');
    }
    void terminated(const TProc& p) const {
        if (logging) ExtraProcInfo(pre, &p, 'T');
    }
    void same(const TProc& now, const TProc& before) const;
    void walk() const;
};
} // namespace

void TMatch::same(const TProc& now, const TProc& before) const {
    const auto topcount = static_cast<int>(report.top.size());
    if (topcount >= report.topbufcount)
        return say("[ERROR] Insufficient Top Buffer Length(Current : %d / Required : %d)\n", report.topbufcount,
                   topcount + 1);
    auto& top = report.top.emplace_back();
    top.cur = &now;
    top.pre = &before;
    getProcRates(now, before, timediff, top.rates);
    report.totalrsyscall += top.rates.syscr;
    report.totalwsyscall += top.rates.syscw;
}

void TMatch::walk() const {
    size_t i = 0, j = 0;
    while (i < cur.procs.size() && j < pre.procs.size()) {
        auto& now = cur.procs[i];
        auto& before = pre.procs[j];
        if (now.pid < before.pid) {
            created(now), i++;
        } else if (now.pid > before.pid) {
            terminated(before), j++;
        } else {
            if (now.STime == before.STime) same(now, before);
            else created(now), terminated(before); // the pid was reused
            i++, j++;
        }
    }
    for (; i < cur.procs.size(); i++) created(cur.procs[i]);
    for (; j < pre.procs.size(); j++) terminated(pre.procs[j]);
}

// Busiest first. Equal rows keep the order of their pids.
// Quirk: the tie-break by memory subtracts a's system time instead of adding it, so it only works for processes that
// used no CPU. The difference is also cut to 32 bits. Seen by tests/worlds/proc-ranking.
static int comptopcpu(const TTop* a, const TTop* b) {
    const auto& x = a->rates;
    const auto& y = b->rates;
    if (y.usr + y.sys == x.usr - x.sys)
        return b->cur->VmRSS > a->cur->VmRSS ? 1 : a->cur->VmRSS > b->cur->VmRSS ? -1 : 0;
    return toInt(100000.0 * ((y.usr + y.sys) - x.usr - x.sys));
}

static void rank(TProcReport& report) {
    static std::vector<const TTop*> spare;
    report.ranked.clear();
    for (auto& top : report.top) report.ranked.push_back(&top);
    mergeSort(report.ranked, spare, comptopcpu);
}

static void collect(TProcReport& report, int CallingIndex, int icur, int ipre) {
    report.top.clear(); // its pointers lead into the slot that is filled next
    report.ranked.clear();
    report.totalrsyscall = report.totalwsyscall = 0;
    if (CallingIndex == 0) forget(report);
    auto& cur = report.buf[icur];
    if (!getSample(cur, report.totals) || !makeTop(report, cur.capacity)) return;
    // Quirk: a listing at the start is a pass 0 as well, so with one it is done twice. Seen by
    // tests/worlds/desc-clean-twice.
    if (CallingIndex == 0) cleanDescriptions(cur);
    const bool logging = CallingIndex >= 1 && ProcExistenceLog == 1;
    TMatch{report, cur, report.buf[ipre], logging}.walk();
    rank(report);
}

// --- The report

TCommand getCommand(const TProcTable& table, const TProc& p, int length) {
    const auto arg = table.arg(p);
    if (length < 1 || arg.empty()) return {p.cmd, ""};
    const auto shown = arg.substr(0, static_cast<size_t>(length));
    return {shown, shown.size() < arg.size() ? "..." : ""};
}

int dispproc(int CallingIndex, int icur, int ipre, int CPUThreshold, int TPUThreshold, int64_t RSSThreshold,
             int CommandLength, int nMode) {
    auto& report = theReport();
    if (nMode == 0) {
        collect(report, CallingIndex, icur, ipre);
        return 0;
    }
    const TProcView view{CallingIndex,  CPUThreshold,     TPUThreshold,    RSSThreshold,
                         CommandLength, report.buf[icur], report.buf[ipre]};
    if (shooting) dispProcRecords(report, view);
    else dispProcTable(report, view);
    return 0;
}

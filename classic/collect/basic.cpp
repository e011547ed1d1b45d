#include "classic/collect/basic.h"

#include "base/door.h"
#include "base/output.h"
#include "base/words.h"
#include "classic/collect/messages.h"
#include "classic/collect/slots.h"
#include "parse/core.h"
#include "parse/keys.h"
#include "parse/meminfo.h"

#include <cerrno>
#include <cstring>

static constexpr size_t LineLimit = 1024; // longer lines come in pieces; only "intr" is ever that long

// --- /proc/stat

// "cpu  1393280 32966 572056 13343292 6130 0 17875 0 23933 0": the columns as the kernel orders them.
static constexpr double TBasic::* SystemColumns[] = {
    &TBasic::usr, &TBasic::nice,    &TBasic::sys,   &TBasic::idle,  &TBasic::iowait,
    &TBasic::irq, &TBasic::softirq, &TBasic::steal, &TBasic::guest, &TBasic::guest_nice,
};

static void getSystemLine(std::string_view line, TBasic& basic) {
    size_t column = 0;
    for (size_t i = 4; i < line.size() && column < std::size(SystemColumns); i++)
        if (line[i - 1] == ' ' && line[i - 2] != ' ')
            basic.*SystemColumns[column++] = static_cast<double>(toLong(line.substr(i)));
}

static void getCoreLine(std::string_view line, std::vector<TCPU>& cpu) {
    Core core;
    if (!parseCore(line, core)) return;
    const size_t index = cpu.size();
    auto* row = addRow(cpu);
    if (!row) return;
    row->id = core.id;
    row->usr = static_cast<double>(core.user);
    row->nice = static_cast<double>(core.nice);
    row->sys = static_cast<double>(core.system);
    row->idle = static_cast<double>(core.idle);
    row->iowait = static_cast<double>(core.iowait);
    row->irq = static_cast<double>(core.irq);
    row->softirq = static_cast<double>(core.softirq);
    // Quirk: the row's position, not the number of columns, decides whether the last three are taken, so the first nine
    // cores never show a steal share. Seen by tests/worlds/basic-cores-steal.
    if (index > 8) row->steal = static_cast<double>(core.steal);
    if (index > 9) row->guest = static_cast<double>(core.guest);
    if (index > 10) row->guest_nice = static_cast<double>(core.guest_nice);
}

void getStatLine(std::string_view line, TBasic& basic, std::vector<TCPU>& cpu) {
    std::string_view rest;
    const auto number = [&] { return static_cast<double>(toLong(rest)); };
    if (line.starts_with("cpu ")) return getSystemLine(line, basic);
    if (afterKey(line, "ctxt ", rest)) basic.ctxt = number();
    else if (afterKey(line, "intr ", rest)) basic.intr = number();
    else if (afterKey(line, "processes ", rest)) basic.fork = number();
    else if (afterKey(line, "procs_running ", rest)) basic.running = toLong(rest);
    else if (afterKey(line, "procs_blocked ", rest)) basic.blocked = toLong(rest);
    else getCoreLine(line, cpu);
}

template <typename Row> static double getTotal(const Row& row) {
    return row.usr + row.nice + row.sys + row.iowait + row.idle + row.irq + row.softirq + row.steal;
}

// The shares of CPU time between two samples; false (and nothing set) when the counters did not move or there is no
// previous sample.
template <typename Row> static bool getShares(const Row& now, const Row& before, double seconds, Row& result) {
    const double all = getTotal(now) - getTotal(before);
    if (!(all > 0 && before.usr + before.sys + before.idle > 0 && seconds > 0)) return false;
    for (auto field :
         {&Row::usr, &Row::nice, &Row::sys, &Row::idle, &Row::iowait, &Row::irq, &Row::softirq, &Row::steal})
        result.*field = 100.0 * (now.*field - before.*field) / all;
    for (auto field : {&Row::guest, &Row::guest_nice}) result.*field = now.*field - before.*field;
    return true;
}

// The leading run of cores that both samples have at the same position.
// Quirk: the first core that cannot be compared ends the list. Seen by tests/worlds/basic-cores-renumbered,
// basic-cores-standing-still.
static void getCoreShares(const std::vector<TCPU>& now, const std::vector<TCPU>& before, double seconds,
                          std::vector<TCPU>& result) {
    result.clear();
    if (now.size() != before.size() || !makeRoom(result, now.size())) return;
    for (size_t i = 0; i < now.size() && now[i].id == before[i].id; i++) {
        TCPU core;
        if (!getShares(now[i], before[i], seconds, core)) break;
        core.id = now[i].id;
        result.push_back(core);
    }
}

static void getStat(Contents& text, int icur, int ipre, double seconds, TBasicSlots& slots) {
    auto& now = slots.basic[icur];
    auto& before = slots.basic[ipre];
    auto& result = slots.basic[2];
    slots.cpu[icur].clear();
    if (!readFile("/proc/stat", text, Reading::Single)) return sayError("Failed to open /proc/stat", errno);
    Lines lines(text.view(), LineLimit);
    for (std::string_view line; lines.next(line);) getStatLine(line, now, slots.cpu[icur]);
    // Quirk: figures that cannot be computed stay those of the previous interval. Seen by
    // tests/worlds/basic-counters-still, basic-stat-missing.
    if (getShares(now, before, seconds, result)) {
        result.running = now.running, result.blocked = now.blocked;
        for (auto field : {&TBasic::fork, &TBasic::intr, &TBasic::ctxt})
            result.*field = (now.*field - before.*field) / seconds;
    }
    getCoreShares(slots.cpu[icur], slots.cpu[ipre], seconds, slots.cpu[2]);
}

// --- /proc/meminfo

static void sayUnreadable(const char* path) { say("Failed to open %s [ENO(%d):%s]\n", path, errno, strerror(errno)); }

static void getMeminfo(Contents& text, TBasic& now, TBasic& result) {
    if (!readFile("/proc/meminfo", text, Reading::Single)) return sayUnreadable("/proc/meminfo");
    const MemoryKB memory = parseMeminfo(text.view());
    now.memtotal = static_cast<double>(memory.mem_total_kb);
    now.memfree = static_cast<double>(memory.mem_free_kb);
    now.active = static_cast<double>(memory.active_kb);
    now.buffers = static_cast<double>(memory.buffers_kb);
    now.cached = static_cast<double>(memory.cached_kb);
    now.swaptotal = static_cast<double>(memory.swap_total_kb);
    now.swapfree = static_cast<double>(memory.swap_free_kb);
    now.swapcached = static_cast<double>(memory.swap_cached_kb);
    for (auto field : {&TBasic::memtotal, &TBasic::memfree, &TBasic::active, &TBasic::buffers, &TBasic::cached,
                       &TBasic::swaptotal, &TBasic::swapfree, &TBasic::swapcached})
        result.*field = now.*field;
}

// --- /proc/vmstat

static constexpr struct {
    std::string_view key;
    double TBasic::* field;
    bool zone; // the zones are added up; the value follows the first space, because a key may go on ("dma32")
} VmKeys[] = {
    {"pgfree ",               &TBasic::pgfree,     false},
    {"pgpgin ",               &TBasic::pgin,       false},
    {"pgpgout ",              &TBasic::pgout,      false},
    {"pswpin ",               &TBasic::swapin,     false},
    {"pswpout ",              &TBasic::swapout,    false},
    {"pgmajfault ",           &TBasic::pgmajfault, false},
    {"pgrotated ",            &TBasic::pgrotated,  false},
    {"pgscan_kswapd_dma",     &TBasic::pgscank,    true },
    {"pgscan_kswapd_normal",  &TBasic::pgscank,    true },
    {"pgscan_direct_dma",     &TBasic::pgscand,    true },
    {"pgscan_direct_normal",  &TBasic::pgscand,    true },
    {"pgsteal_kswapd_dma",    &TBasic::pgstealk,   true },
    {"pgsteal_kswapd_normal", &TBasic::pgstealk,   true },
    {"pgsteal_direct_dma",    &TBasic::pgsteald,   true },
    {"pgsteal_direct_normal", &TBasic::pgsteald,   true },
};

void getVmLine(std::string_view line, TBasic& now) {
    std::string_view rest;
    const auto* known = findKey(VmKeys, line, rest);
    if (!known) return;
    auto& field = now.*known->field;
    field = known->zone ? field + static_cast<double>(numberAfter(line, ' ')) : static_cast<double>(toLong(rest));
}

static void getVmRates(const TBasic& now, const TBasic& before, double seconds, TBasic& result) {
    for (auto field : {&TBasic::pgfree, &TBasic::swapin, &TBasic::swapout, &TBasic::pgmajfault, &TBasic::pgrotated,
                       &TBasic::pgscank, &TBasic::pgscand, &TBasic::pgstealk, &TBasic::pgsteald})
        result.*field = (now.*field - before.*field) / seconds;
    for (auto field : {&TBasic::pgin, &TBasic::pgout}) // the kernel counts KB
        result.*field = 1024.0 * (now.*field - before.*field) / seconds;
    const double scanned = result.pgscank + result.pgscand;
    result.vmeff = scanned > 0 ? 100.0 * (result.pgstealk + result.pgsteald) / scanned : 0;
}

static void getVmstat(Contents& text, TBasic& now, const TBasic& before, double seconds, TBasic& result) {
    if (!readFile("/proc/vmstat", text)) {
        // A missing file was reported at start-up.
        // Quirk: the sample keeps its zeros, so the next interval shows all counts since boot. Seen by
        // tests/worlds/basic-vmstat-gone.
        if (errno != ENOENT) sayUnreadable("/proc/vmstat");
        return;
    }
    Lines lines(text.view(), LineLimit);
    for (std::string_view line; lines.next(line);) getVmLine(line, now);
    if (seconds > 0) getVmRates(now, before, seconds, result);
}

int getbasicperf(int CallingIndex, int icur, int ipre, double seconds, TBasicSlots& slots) {
    static Contents text;
    if (CallingIndex == 0) slots = {};
    slots.basic[icur] = {};
    getStat(text, icur, ipre, seconds, slots);
    getMeminfo(text, slots.basic[icur], slots.basic[2]);
    getVmstat(text, slots.basic[icur], slots.basic[ipre], seconds, slots.basic[2]);
    return 0;
}

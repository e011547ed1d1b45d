#include "sample/proc.h"

#include "base/clock.h"
#include "base/numbers.h"
#include "base/program.h"
#include "parse/loadavg.h"

#include <algorithm>
#include <climits>
#include <utility>

// --- The machine

static uint64_t ticksPerSecond() { return static_cast<uint64_t>(std::max(getClockTicks(), 1)); }

// How many processes may have their files open.
static size_t allowHolders() {
    constexpr uint64_t Each = 4, Others = 512; // files of one process; of all areas, a few for each network namespace
    const uint64_t allowed = allowDescriptors(Others + Each * ProcSampler::MostHolders);
    return allowed > Others ? (allowed - Others) / Each : 0;
}

ProcSampler::ProcSampler(const Root& where, Helper& helper)
    : root(where), reader(where, helper), statFile(where, "/proc/stat"), loadFile(where, "/proc/loadavg"),
      vmstatFile(where, "/proc/vmstat"), clocks(!where.isOther() && cpuClocksMatchProc()), mostHolders(allowHolders()) {
}

void ProcSampler::readMachine(ProcSample& sample) {
    sample.ticksBefore = sample.ticks;
    sample.ticks.reset();
    sample.forksBefore = sample.forks;
    sample.forks.reset();
    if (!statFile.read(text) || !parseStat(text.view(), stat)) return stat = SystemStat(), void();
    sample.ticks = stat.all;
    sample.forks = stat.forks;
    sample.cores = stat.cores.size();
}

// --- Which processes there are

// Reading the directory costs twice the clocks of all that are in it. The kernel gives out pids in ascending order, so
// that new processes have those after the last one of the pass before the last pass: one pass more, for a pid that was
// given out before its process could be seen. Where more forks than pids lie between the two, the pids have begun again
// at the lowest. False: the directory must be read.
bool ProcSampler::listNew(const ProcSample& sample) {
    const auto load = loadFile.read(text) ? parseLoadAverage(text.view()) : std::nullopt;
    const uint64_t from = given[0].pid, to = load ? load->last_pid : 0;
    const uint64_t forks = sample.forks.value_or(0) - given[0].forks;
    given[0] = given[1], given[1] = {to, sample.forks.value_or(0)};
    constexpr uint64_t Meanwhile = 256; // forks between the readings of the two figures, which are not one
    constexpr uint32_t Anyway = 16;     // passes; pids can be chosen, and a process can become visible (hidepid)
    if (!clocks || !ascending || sample.pass % Anyway == 0 || from == 0 || to < from || to > INT_MAX) return false;
    if (to - from > sample.entries.size() || forks > to - from + Meanwhile) return false;
    pids.clear();
    for (auto& entry : sample.entries) pids.push_back(entry.pid);
    const auto known = static_cast<ptrdiff_t>(pids.size());
    for (auto pid = static_cast<int>(from) + 1; pid <= static_cast<int>(to); pid++)
        if (!std::binary_search(pids.begin(), pids.begin() + known, pid) && getCpuClock(pid)) pids.push_back(pid);
    std::inplace_merge(pids.begin(), pids.begin() + known, pids.end());
    return true;
}

bool ProcSampler::list(const ProcSample& sample) {
    if (!reader.open()) return false;
    if (listNew(sample)) return true;
    if (!listing.start(reader.processes())) return false;
    pids.clear();
    Listing::Entry entry{};
    while (listing.next(entry)) {
        int pid = 0;
        if (toNumber(std::string_view(entry.name), pid) && pid > 0) pids.push_back(pid);
    }
    if (!std::is_sorted(pids.begin(), pids.end())) std::sort(pids.begin(), pids.end());
    return !pids.empty();
}

// All clocks are read at once, close to the machine's own figures, before the files of those that ran.
void ProcSampler::readClocks() {
    marks.clear();
    if (!clocks) return;
    for (const int pid : pids) marks.push_back(getCpuClock(pid));
}

// --- One process

// One that did not run. While it waits for a CPU its wait grows, though the kernel books a wait only when it ends.
void ProcSampler::stay(ProcSample& sample, const ProcEntry& old) {
    auto& entry = next.emplace_back(old);
    entry.tell = old.state == 'R' || old.state == 'D';
    if (old.state != 'R') return;
    auto& process = sample.slots[old.slot];
    process.waited_ns = static_cast<uint64_t>(sample.at_us - sample.before_us) * 1000;
    process.booked_ns += process.waited_ns;
}

static std::optional<uint64_t> waitOf(Process& process) {
    const auto &before = process.before, &now = process.now;
    if (!before.hasWait || !now.hasWait || now.wait_ns < before.wait_ns) return {};
    const auto kernel = now.wait_ns - before.wait_ns;
    const auto known = std::min(process.booked_ns, kernel);
    // Of several threads one may still wait, and the kernel has not booked that yet.
    const bool lasts = process.threads > 1 && process.state == 'R';
    process.booked_ns = lasts ? process.booked_ns - known : 0;
    return kernel - known;
}

static ProcCounters atBirth() {
    ProcCounters zero;
    zero.hasCpu = zero.hasStat = zero.hasWait = zero.hasSwitches = zero.hasIo = true;
    return zero;
}

// Without CPU clocks the time of the only thread comes from its schedstat, that of several from ticks, for good:
// threads that ended are in the ticks only.
void ProcSampler::setCpu(ProcSample& sample, Process& process, const ProcessStat& own, std::optional<uint64_t> mark) {
    const auto ofTicks = [&](uint64_t ticks) { return ticks * sample.tick_us * 1000; };
    process.now.hasCpu = true;
    if (!clocks && !process.cpuTicks && (own.threads > 1 || !mark)) {
        process.cpuTicks = true;
        process.before.cpu_ns = ofTicks(process.before.user_ticks + process.before.system_ticks);
    }
    process.now.cpu_ns = process.cpuTicks ? ofTicks(own.user_ticks + own.system_ticks) : mark.value_or(0);
}

bool ProcSampler::beganSince(const ProcSample& sample, const ProcessStat& own) const {
    return root.isOther() || static_cast<int64_t>((own.start + 1) * sample.tick_us) >= bootBefore_us;
}

uint32_t ProcSampler::newSlot(ProcSample& sample) {
    if (unused.empty()) return sample.slots.emplace_back(), static_cast<uint32_t>(sample.slots.size() - 1);
    const auto slot = unused.back();
    unused.pop_back();
    return slot;
}

// `mark`: a number that changes whenever the process runs; none: it has ended, or the kernel does not tell.
void ProcSampler::visit(ProcSample& sample, int pid, std::optional<uint64_t> mark, const ProcEntry* old) {
    if (old && mark && *mark == old->mark) return stay(sample, *old);
    ProcessStat own;
    auto* held = old ? sample.slots[old->slot].held.get() : nullptr;
    const auto answer = clocks && !mark ? ProcAnswer::Ended : reader.readStat(pid, own, held);
    const bool readable = answer == ProcAnswer::Good;
    if (answer == ProcAnswer::Ended || (!readable && !mark)) {
        if (old) end(sample, *old);
        return;
    }
    if (!clocks && (own.threads > 1) != (old && old->threads > 1)) mark = reader.runTime(pid, own.threads > 1);
    const uint64_t seen = mark.value_or(own.user_ticks + own.system_ticks + own.minor_faults);
    // A pid that is used again is another process.
    const bool same = old && (readable ? sample.slots[old->slot].start == own.start : seen >= old->mark);
    if (old && !same) end(sample, *old);
    if (same && seen == old->mark) return stay(sample, *old);

    const auto slot = same ? old->slot : newSlot(sample);
    auto& process = sample.slots[slot];
    process.pid = pid, process.start = own.start;
    process.steady = same && process.pass + 1 == sample.pass ? std::min(process.steady, uint8_t{254}) + 1 : 0;
    process.pass = sample.pass;
    process.fresh = !same;
    process.born = !same && sample.paired && (!readable || beganSince(sample, own));
    if (!same && sample.paired && !process.born) ascending = false; // it was there and had not been found
    process.before = process.born ? atBirth() : process.now;
    process.now = ProcCounters();
    setCpu(sample, process, own, mark);
    if (readable) reader.readRan(process, own, sample.pass, sample.at_us);
    children.set(slot, process.parent);
    const auto waited = waitOf(process);
    process.waitKnown = waited.has_value();
    process.waited_ns = waited.value_or(0);
    if (process.born) sample.born.push_back(slot);
    next.push_back({pid, slot, seen, static_cast<uint32_t>(process.threads), process.state, true});
    active.push_back({pid, process.start, process.threads, process.fresh, false, process.state});
    ranSlots.push_back(slot);
}

void ProcSampler::walk(ProcSample& sample) {
    next.clear();
    auto old = sample.entries.begin();
    for (size_t i = 0; i < pids.size(); i++) {
        const int pid = pids[i];
        while (old != sample.entries.end() && old->pid < pid) end(sample, *old++);
        const bool known = old != sample.entries.end() && old->pid == pid;
        visit(sample, pid, clocks ? marks[i] : reader.runTime(pid, known && old->threads > 1), known ? &*old : nullptr);
        if (known) ++old;
    }
    while (old != sample.entries.end()) end(sample, *old++);
    sample.entries.swap(next);
}

// --- All of them

const ProcEntry* ProcSample::find(int pid) const {
    const auto found = std::lower_bound(entries.begin(), entries.end(), pid,
                                        [](const ProcEntry& entry, int wanted) { return entry.pid < wanted; });
    return found == entries.end() || found->pid != pid ? nullptr : &*found;
}

void ProcSampler::passOver(ProcSample& now) {
    now.before_us = now.at_us, bootBefore_us = now.boot_us;
    now.at_us = getMonotonic(), now.boot_us = getBoottime();
    now.tick_us = 1000000 / ticksPerSecond();
    now.born.clear(), now.gone.clear();
    active.clear(), ranSlots.clear();
    now.blocksCounted = reader.blocksCounted();
    readMachine(now);
    now.known = list(now);
    if (!now.known) return;
    now.pass++;
    readClocks();
    walk(now);
    bequeath(now);
    adopt(now);
    searchRunnable(now);
    refreshLargest(now);
    refresh(now);
    reader.takeAnswers([&](int pid) {
        const auto* entry = now.find(pid);
        return entry ? &now.slots[entry->slot] : nullptr;
    });
    rememberWrites(now);
    holdFiles(now);
}

void ProcSampler::sample(ProcSample& now) {
    now.paired = now.known;
    passOver(now);
    if (now.paired || !now.known) return;
    // The first pass reads everything, so that its last figures are much younger than its first ones. The second one
    // is as quick as those that follow: figures of the first interval begin there.
    passOver(now);
    active.clear();
    for (auto& entry : now.entries)
        active.push_back({entry.pid, now.slots[entry.slot].start, entry.threads, true, false, entry.state});
}

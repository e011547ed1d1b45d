#include "model/proc.h"

#include "model/amounts.h"

#include <algorithm>

namespace {
using Amount = std::optional<uint64_t>;

// The amounts of one process. One that did not run did nothing.
struct Change {
    const ProcSample& sample;
    const Process& process;
    bool ran;

    Amount of(bool ProcCounters::* known, uint64_t ProcCounters::* counter, uint64_t unit = 1) const {
        if (!(process.now.*known)) return {};
        if (!ran) return 0;
        if (!(process.before.*known)) return {};
        const auto change = grown(process.before.*counter, process.now.*counter);
        return change ? Amount(*change * unit) : change;
    }
    // Counters are rounded, not changes: so the sum of several intervals is exact.
    Amount cpu() const {
        const auto change = of(&ProcCounters::hasCpu, &ProcCounters::cpu_ns);
        return change && ran ? Amount(process.now.cpu_ns / 1000 - process.before.cpu_ns / 1000) : change;
    }
    // Without what children that ended had shown as theirs.
    Amount io(uint64_t ProcessIo::* counter) const {
        if (!process.now.hasIo) return {};
        if (!ran) return 0;
        if (!process.before.hasIo) return {};
        const auto change = grown(process.before.io.*counter, process.now.io.*counter);
        const auto* reaped = process.ioGroup ? reapedIn(process, sample.pass) : nullptr;
        return change && reaped ? Amount(*change - std::min(*change, reaped->io.*counter)) : change;
    }
    // CPU time of children that ended, without what they had when they were last seen.
    Amount children() const {
        const auto change = of(&ProcCounters::hasStat, &ProcCounters::children_ticks, sample.tick_us);
        const auto* reaped = reapedIn(process, sample.pass);
        return change && reaped ? Amount(*change - std::min(*change, reaped->cpu_ns / 1000)) : change;
    }
    // Its part of the CPU time that the processes explain. What children that ended had shown as theirs can be a tick
    // more than what the kernel adds to their parent's; when it is much more, the kernel added nothing: the parent
    // ignores SIGCHLD, or another process waited for them.
    int64_t accounted_us() const {
        if (!ran) return 0;
        const auto added = of(&ProcCounters::hasStat, &ProcCounters::children_ticks, sample.tick_us);
        const auto* reaped = reapedIn(process, sample.pass);
        const auto theirs = static_cast<int64_t>(reaped ? reaped->cpu_ns / 1000 : 0);
        const int64_t children = static_cast<int64_t>(added.value_or(0)) - theirs;
        const auto rounding = 2 * static_cast<int64_t>(sample.tick_us);
        return static_cast<int64_t>(cpu().value_or(0)) + (children < -rounding ? 0 : children);
    }
    // Of its threads, also while it lasts.
    Amount wait() const {
        const bool waits = !ran && process.state == 'R';
        if (ran ? !process.waitKnown : !process.now.hasWait && !waits) return {};
        return ran || waits ? process.waited_ns / 1000 : 0;
    }
    bool hasReaped() const { return of(&ProcCounters::hasStat, &ProcCounters::children_faults).value_or(0) > 0; }
};
} // namespace

static void setIdentity(const Process& process, ProcRow& row) {
    row.pid = static_cast<uint64_t>(process.pid), row.start = process.start;
    row.parent = static_cast<uint64_t>(std::max(process.parent, 0));
    row.name = process.name, row.state = process.state, row.kernel = process.kernel;
    row.uid = process.uid;
    if (process.user) row.user = *process.user;
    if (process.group) row.unit = process.group->unit, row.cgroup = process.group->path;
    row.command = process.command;
    row.wait_channel = process.wait_channel;
}

static void setAmounts(const Change& change, ProcRow& row) {
    const uint64_t tick_us = change.sample.tick_us;
    row.cpu_us = change.cpu();
    const auto ofStat = [&](uint64_t ProcCounters::* counter, uint64_t unit) {
        return change.of(&ProcCounters::hasStat, counter, unit);
    };
    row.user_us = ofStat(&ProcCounters::user_ticks, tick_us);
    row.system_us = ofStat(&ProcCounters::system_ticks, tick_us);
    row.wait_us = change.wait();
    // That of the first thread only.
    if (change.sample.blocksCounted && change.process.threads == 1)
        row.block_us = ofStat(&ProcCounters::block_ticks, tick_us);
    row.children_us = change.children();
    row.minor_faults = ofStat(&ProcCounters::minor_faults, 1);
    row.major_faults = ofStat(&ProcCounters::major_faults, 1);
    row.voluntary = change.of(&ProcCounters::hasSwitches, &ProcCounters::voluntary);
    row.involuntary = change.of(&ProcCounters::hasSwitches, &ProcCounters::involuntary);
    row.read_bytes = change.io(&ProcessIo::read_bytes), row.write_bytes = change.io(&ProcessIo::write_bytes);
    row.cancelled_bytes = change.io(&ProcessIo::cancelled_bytes);
    row.read_chars = change.io(&ProcessIo::read_chars), row.write_chars = change.io(&ProcessIo::write_chars);
    row.io_shared = change.ran && change.process.ioGroup && change.hasReaped();
}

static void setLevels(const ProcSample& sample, const Process& process, ProcRow& row) {
    row.rss = process.rss, row.anonymous = process.anonymous, row.swap = process.swap;
    if (process.memory_us) row.memory_age_us = static_cast<uint64_t>(sample.at_us - process.memory_us);
    if (process.growthPass == sample.pass) row.growth = process.growth;
    else if (process.anonymous && process.memory_us != sample.at_us) row.growth = 0; // as far as it was read
    if (process.start) row.threads = process.threads, row.nice = process.nice;
    row.descriptors = process.descriptors, row.descriptor_limit = process.descriptor_limit;
    row.oom_adjust = process.oom_adjust, row.oom_score = process.oom_score;
    if (!process.now.hasIo) return;
    uint64_t written = 0;
    for (auto& then : process.written) written += then.bytes;
    row.written_recently = written;
}

// --- All of them

// What the machine's CPUs did, interrupts included: the time of all CPUs without that in which they had nothing to do.
static void setUsed(const ProcSample& sample, ProcsRow& all) {
    if (!sample.ticks || !sample.ticksBefore) return;
    const auto &before = *sample.ticksBefore, &now = *sample.ticks;
    const auto change = [&](uint64_t CpuTicks::* ticks) {
        return grownOrStill(before.*ticks, now.*ticks).value_or(0) * sample.tick_us;
    };
    const auto whole = static_cast<uint64_t>(sample.at_us - sample.before_us) * sample.cores;
    const auto rest = change(&CpuTicks::idle) + change(&CpuTicks::iowait) + change(&CpuTicks::steal);
    all.used_us = whole - std::min(whole, rest);
    all.irq_us = change(&CpuTicks::irq) + change(&CpuTicks::softirq);
}

static void addStarts(const ProcSample& sample, Rows<StartRow>& starts) {
    for (const auto slot : sample.born) {
        auto& process = sample.slots[slot];
        auto& row = starts.rows.emplace_back();
        row.pid = static_cast<uint64_t>(process.pid), row.start = process.start;
        row.name = process.name;
        row.parent = static_cast<uint64_t>(std::max(process.parent, 0));
        if (process.user) row.user = *process.user;
        if (process.group) row.unit = process.group->unit;
        row.command = process.command;
    }
}

static void addExits(const ProcSample& sample, Rows<ExitRow>& exits) {
    for (auto& gone : sample.gone) {
        auto& row = exits.rows.emplace_back();
        row.pid = static_cast<uint64_t>(gone.pid), row.start = gone.start;
        row.name = gone.name;
        row.parent = static_cast<uint64_t>(std::max(gone.parent, 0));
        const auto began_us = gone.start * sample.tick_us, now_us = static_cast<uint64_t>(sample.boot_us);
        if (gone.start && began_us <= now_us) row.life_us = now_us - began_us;
    }
}

void processRows(const ProcSample& sample, bool complete, Rows<ProcsRow>& all, Rows<ProcRow>& processes,
                 Rows<StartRow>& starts, Rows<ExitRow>& exits, std::span<const char> shown) {
    if (!sample.known || !sample.paired) return;
    const auto begin = [&](auto& rows) { rows.sampled = true, rows.elapsed_us = sample.at_us - sample.before_us; };
    begin(all), begin(processes), begin(starts), begin(exits);
    auto& total = all.rows.emplace_back();
    total.processes = sample.entries.size();
    total.started = sample.born.size(), total.ended = sample.gone.size();
    setUsed(sample, total);
    processes.rows.reserve(static_cast<size_t>(std::count_if(sample.entries.begin(), sample.entries.end(),
                                                             [&](auto& entry) { return complete || entry.tell; })));
    int64_t accounted_us = 0;
    for (size_t i = 0; i < sample.entries.size(); i++) {
        auto& entry = sample.entries[i];
        total.threads += entry.threads;
        total.runnable += entry.state == 'R';
        total.blocked += entry.state == 'D';
        total.zombies += entry.state == 'Z' && entry.threads <= 1; // the first thread may end before the others
        if (!entry.tell && !complete && (i >= shown.size() || !shown[i])) continue;
        auto& process = sample.slots[entry.slot];
        const Change change{sample, process, process.pass == sample.pass};
        total.ran += change.ran;
        accounted_us += change.accounted_us();
        total.without_io += change.ran && !process.now.hasIo;
        auto& row = processes.rows.emplace_back();
        row.ran = change.ran;
        setIdentity(process, row);
        setAmounts(change, row);
        setLevels(sample, process, row);
    }
    total.accounted_us = static_cast<uint64_t>(std::max<int64_t>(accounted_us, 0));
    addStarts(sample, starts);
    addExits(sample, exits);
}

void hiddenThreads(const HiddenSample& sample, Rows<ProcsRow>& all) {
    if (all.rows.empty() || sample.by == Hiding::Nothing) return;
    auto& total = all.rows.front();
    total.hidden_by = sample.by == Hiding::HidePid ? "hidepid" : "pid namespace";
    if (sample.threads) total.hidden = *sample.threads - std::min(*sample.threads, total.threads);
}

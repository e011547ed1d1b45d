// Those that ended: what they leave to their parents, and whose children theirs become.
#include "sample/proc.h"

#include <algorithm>
#include <utility>

static void add(ProcessIo& to, const ProcessIo& more) {
    for (auto member : {&ProcessIo::read_chars, &ProcessIo::write_chars, &ProcessIo::reads, &ProcessIo::writes,
                        &ProcessIo::read_bytes, &ProcessIo::write_bytes, &ProcessIo::cancelled_bytes})
        to.*member += more.*member;
}

// With that of the children it has waited for.
static uint64_t cpuOf(const ProcCounters& counters, const ProcSample& sample) {
    return counters.cpu_ns + counters.children_ticks * sample.tick_us * 1000;
}

void ProcSampler::end(ProcSample& sample, const ProcEntry& entry) {
    auto& process = sample.slots[entry.slot];
    auto& gone = sample.gone.emplace_back();
    gone.pid = process.pid, gone.parent = process.parent, gone.start = process.start;
    gone.name = std::move(process.name);
    gone.cpu_ns = cpuOf(process.now, sample);
    if (process.now.hasCpu) gone.own_ns = process.now.cpu_ns;
    gone.io = process.now.io;
    if (!process.ioGroup && process.reaped) add(gone.io, process.reaped->ever);
    process = Process();
    children.remove(entry.slot);
    unused.push_back(entry.slot);
}

static const GoneProcess* findGone(const ProcSample& sample, int pid) {
    const auto found = std::lower_bound(sample.gone.begin(), sample.gone.end(), pid,
                                        [](const GoneProcess& gone, int wanted) { return gone.pid < wanted; });
    return found == sample.gone.end() || found->pid != pid ? nullptr : &*found;
}

// What a process that ended had until the last pass has been shown as its own. The kernel adds it to the figures of the
// parent that waits for it. When the parent ended, too, it is its parent's parent.
void ProcSampler::bequeath(ProcSample& sample) {
    std::sort(sample.gone.begin(), sample.gone.end(), [](auto& a, auto& b) { return a.pid < b.pid; });
    for (auto& gone : sample.gone) {
        constexpr int MostSteps = 64;
        int parent = gone.parent;
        const auto* entry = sample.find(parent);
        for (int step = 0; !entry && step < MostSteps; step++) {
            const auto* above = findGone(sample, parent);
            if (!above) break;
            parent = above->parent;
            entry = sample.find(parent);
        }
        if (!entry) continue;
        auto& heir = sample.slots[entry->slot];
        if (heir.start > gone.start) continue; // the pid was used again
        if (!heir.reaped) heir.reaped = std::make_unique<Reaped>();
        auto& reaped = *heir.reaped;
        if (reaped.pass != sample.pass) reaped.pass = sample.pass, reaped.cpu_ns = 0, reaped.io = {};
        reaped.cpu_ns += gone.cpu_ns;
        add(reaped.io, gone.io);
        add(reaped.ever, gone.io);
    }
}

// Children of what ended have another parent.
void ProcSampler::adopt(ProcSample& sample) {
    order.clear();
    for (auto& gone : sample.gone) children.find(gone.pid, order);
    for (const auto slot : order)
        if (auto* entry = sample.find(sample.slots[slot].pid)) look(sample, *entry);
}

// What is read of processes that did not run, and what is remembered of those that wrote.
#include "sample/proc.h"

#include <algorithm>
#include <utility>

// --- What changes without running

// Reads the levels of one that did not run. Its counters stay those of its last pass: what it does from now on belongs
// to the next one.
bool ProcSampler::look(ProcSample& sample, ProcEntry& entry) {
    auto& process = sample.slots[entry.slot];
    ProcessStat own;
    if (process.start == 0 || reader.readStat(entry.pid, own, process.held.get()) != ProcAnswer::Good ||
        own.start != process.start)
        return false; // the next pass finds out
    entry.tell |= process.parent != static_cast<int>(own.parent) || entry.state != own.state ||
                  process.nice != own.nice || own.state == 'R' || own.state == 'D';
    reader.setLevels(process, own);
    children.set(entry.slot, process.parent);
    entry.state = own.state, entry.threads = static_cast<uint32_t>(own.threads);
    return true;
}

// Calls f for the next `count` entries after the pid where the last turn ended.
template <typename F> static void inTurn(std::vector<ProcEntry>& entries, int& last, size_t count, F&& f) {
    auto at = std::upper_bound(entries.begin(), entries.end(), last,
                               [](int pid, const ProcEntry& entry) { return pid < entry.pid; });
    for (count = std::min(count, entries.size()); count > 0; count--, ++at) {
        if (at == entries.end()) at = entries.begin();
        last = at->pid;
        f(*at);
    }
}

void ProcSampler::readMemory(ProcSample& sample, ProcEntry& entry) {
    auto& process = sample.slots[entry.slot];
    if (process.kernel || process.memory_us == sample.at_us) return;
    const bool ran = process.pass == sample.pass; // then its counters of switches belong to it
    const auto kept = process.now;
    reader.readMemory(process, sample.pass, sample.at_us);
    if (!ran) process.now = kept;
    entry.tell |= process.growthPass == sample.pass && process.growth.value_or(0) != 0;
}

void ProcSampler::refresh(ProcSample& sample) {
    const auto share = [&](size_t passes) {
        return std::max(LeastInTurn, (sample.entries.size() + passes - 1) / passes);
    };
    if (!sample.paired) return;
    inTurn(sample.entries, turn, share(Turn), [&](ProcEntry& entry) {
        auto& process = sample.slots[entry.slot];
        const bool ran = process.pass == sample.pass;
        if (!ran && !look(sample, entry)) return;
        // What others take of its memory is in its resident size, of which stat may not know the last few pages.
        const bool due = ++process.memoryTurns % ProcReader::FullTurns == 0;
        if (ran || due || process.statRss != process.readRss) readMemory(sample, entry);
    });
    inTurn(sample.entries, restTurn, share(RestTurn), [&](ProcEntry& entry) {
        auto& process = sample.slots[entry.slot];
        if (process.start && process.pass != sample.pass) reader.readRest(process);
    });
    if (sample.pass % 64 == 0) reader.renew();
}

namespace {
// What the kernel has taken from processes, pages since boot.
struct Reclaim {
    std::optional<uint64_t> kswapd, direct, khugepaged, proactive, swapped, killed;
    uint64_t sum() const {
        uint64_t all = 0;
        for (auto& part : {kswapd, direct, khugepaged, proactive, swapped, killed}) all += part.value_or(0);
        return all;
    }
};
} // namespace

static constexpr Keyed<Reclaim> ReclaimKeys[] = {
    {"pgsteal_kswapd",     &Reclaim::kswapd    },
    {"pgsteal_direct",     &Reclaim::direct    },
    {"pgsteal_khugepaged", &Reclaim::khugepaged},
    {"pgsteal_proactive",  &Reclaim::proactive },
    {"pswpout",            &Reclaim::swapped   },
    {"oom_kill",           &Reclaim::killed    },
};

void ProcSampler::refreshLargest(ProcSample& sample) {
    Reclaim now;
    if (!vmstatFile.read(text)) return;
    parseKeyed<Reclaim>(text.view(), ReclaimKeys, vmstatPlan, now);
    const bool moved = reclaimed && now.sum() != *reclaimed;
    reclaimed = now.sum();
    if (!moved) return;
    order.resize(sample.entries.size());
    for (uint32_t i = 0; i < order.size(); i++) order[i] = i;
    const auto size = [&](uint32_t at) { return sample.slots[sample.entries[at].slot].rss.value_or(0); };
    const auto most = std::min(order.size(), Largest);
    std::nth_element(order.begin(), order.begin() + static_cast<ptrdiff_t>(most), order.end(),
                     [&](uint32_t a, uint32_t b) { return size(a) > size(b); });
    for (size_t i = 0; i < most; i++) readMemory(sample, sample.entries[order[i]]);
}

// More tasks are ready to run than are known to be: some process was woken and has got no CPU since.
void ProcSampler::searchRunnable(ProcSample& sample) {
    uint64_t known = 0;
    for (auto& entry : sample.entries) known += entry.state == 'R';
    // Several threads of those that ran may be ready.
    for (auto& ran : active) known += ran.threads > 1 ? ran.threads - (ran.state == 'R') : 0;
    const bool more = stat.running.value_or(0) > known;
    if (!std::exchange(moreRunnable, more) || !more || !sample.paired) return; // it must last
    inTurn(sample.entries, stateTurn, std::max(LeastStates, sample.entries.size() / 64), [&](ProcEntry& entry) {
        if (entry.state != 'R' && sample.slots[entry.slot].pass != sample.pass) look(sample, entry);
    });
}

// --- What was written

// Written pages reach the disk up to 35 s later: 30 s until they are old, 5 s until that is noticed.
static constexpr int64_t WriteBack = 35000000;

static void addWritten(std::vector<WrittenThen>& written, int64_t now_us, uint64_t bytes) {
    constexpr int64_t Step = 1000000; // so that short intervals need no more room
    if (!written.empty() && now_us - written.back().at_us < Step) written.back().bytes += bytes;
    else written.push_back({now_us, bytes});
}

void ProcSampler::rememberWrites(ProcSample& sample) {
    for (size_t i = 0; i < active.size(); i++) {
        auto& process = sample.slots[ranSlots[i]];
        const auto wrote = wroteIn(process, sample.pass);
        active[i].wrote = wrote > 0;
        if (!wrote) continue;
        if (process.written.empty()) writers.push_back(ranSlots[i]);
        addWritten(process.written, sample.at_us, wrote);
    }
    std::erase_if(writers, [&](uint32_t slot) {
        auto& process = sample.slots[slot];
        std::erase_if(process.written, [&](auto& then) { return sample.at_us - then.at_us > WriteBack; });
        auto* entry = process.written.empty() ? nullptr : sample.find(process.pid);
        if (entry) entry->tell = true;
        return process.written.empty();
    });
}

// --- What stays open

void ProcSampler::holdFiles(ProcSample& sample) {
    constexpr uint8_t Steady = 4; // passes in a row
    constexpr uint32_t Idle = 8;  // passes
    std::erase_if(holders, [&](uint32_t slot) {
        auto& process = sample.slots[slot];
        if (process.held && sample.pass - process.pass > Idle) process.held.reset();
        return !process.held;
    });
    for (const auto slot : ranSlots) {
        auto& process = sample.slots[slot];
        if (process.held || process.steady < Steady) continue;
        if (holders.size() >= mostHolders) return;
        process.held = std::make_unique<ProcHeld>();
        holders.push_back(slot);
    }
}

#include "sample/thread.h"

#include "base/clock.h"
#include "base/numbers.h"
#include "parse/process.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

// The threads that the process has now, in ascending order.
bool ThreadSampler::list(int pid) {
    char place[32];
    snprintf(place, sizeof place, "%d/task", pid);
    tids.clear();
    if (!processes.isOpen() && !processes.open(root.path("/proc").c_str())) return false;
    if (!tasks.open(processes, place) || !listing.start(tasks)) {
        forbidden += errno == EACCES || errno == EPERM;
        return false;
    }
    Listing::Entry entry{};
    while (listing.next(entry)) {
        int tid = 0;
        if (toNumber(std::string_view(entry.name), tid) && tid > 0) tids.push_back(tid);
    }
    std::sort(tids.begin(), tids.end());
    return !tids.empty();
}

// False: it has ended, or the kernel does not count it.
bool ThreadSampler::readSchedule(int tid, ThreadCounters& counters) {
    char place[32];
    snprintf(place, sizeof place, "%d/schedstat", tid);
    if (!readFile(tasks, place, text, Reading::Single)) return false;
    const auto schedule = parseSchedule(text.view());
    if (!schedule) return false;
    counters.run_ns = schedule->run_ns, counters.wait_ns = schedule->wait_ns;
    return counters.hasSchedule = true;
}

bool ThreadSampler::readStat(int tid, ThreadChange& change) {
    char place[32];
    ProcessStat stat;
    snprintf(place, sizeof place, "%d/stat", tid);
    if (!readFile(tasks, place, text, Reading::Single) || !parseProcessStat(text.view(), stat)) return false;
    change.thread_start = stat.start, change.name = stat.name, change.state = stat.state;
    change.core = stat.core, change.nice = stat.nice;
    auto& now = change.now;
    now.user_ticks = stat.user_ticks, now.system_ticks = stat.system_ticks, now.block_ticks = stat.block_ticks;
    now.minor_faults = stat.minor_faults, now.major_faults = stat.major_faults;
    return now.hasStat = true;
}

void ThreadSampler::readSwitches(int tid, ThreadCounters& counters) {
    char place[32];
    snprintf(place, sizeof place, "%d/status", tid);
    if (!readFile(tasks, place, text, Reading::Single)) return;
    const auto status = parseProcessStatus(text.view());
    counters.hasSwitches = status.voluntary && status.involuntary;
    counters.voluntary = status.voluntary.value_or(0), counters.involuntary = status.involuntary.value_or(0);
}

// What a thread had when it began.
static constexpr ThreadCounters Nothing{.hasSchedule = true, .hasStat = true, .hasSwitches = true};

// A thread that could run and stood still has waited for a CPU all the time. `thread` is as it was before.
bool ThreadSampler::stillWaits(Thread& thread, ThreadChange& change, const ThreadSample& now) {
    if (!thread.runnable || now.pass == 1 || !readStat(thread.tid, change)) return false;
    thread.runnable = change.state == 'R';
    if (!thread.runnable) return false;
    change.before = change.now;
    change.before->wait_ns = std::max(thread.booked_ns, change.now.wait_ns);
    change.now.wait_ns = change.before->wait_ns + static_cast<uint64_t>(now.at_us - now.before_us) * 1000;
    thread.booked_ns = change.now.wait_ns;
    return true;
}

// The number of a thread that has ended can be used again.
bool ThreadSampler::isAnother(const Thread& thread, const ThreadChange& change) {
    return change.now.run_ns < thread.counters.run_ns || (thread.start && thread.start != change.thread_start);
}

static bool stoodStill(const ThreadCounters& before, const ThreadCounters& now) {
    if (before.hasSchedule && now.hasSchedule) return before.run_ns == now.run_ns && before.wait_ns == now.wait_ns;
    return before.hasStat && now.hasStat && before.user_ticks == now.user_ticks &&
           before.system_ticks == now.system_ticks;
}

// `known`: its threads were listed when it ran the last time, so one that was not there then is new.
void ThreadSampler::visit(const Ran& process, Group& group, bool known, ThreadSample& now) {
    found.clear();
    if (!known) group.threads.clear(); // of another process that had this pid
    if (!list(process.pid)) return void(group.threads.clear());
    const auto began = [&](const ThreadChange& change) {
        return known || (change.thread_start + 1) * now.tick_us > static_cast<uint64_t>(bootBefore_us);
    };
    auto old = group.threads.begin();
    for (const int tid : tids) {
        while (old != group.threads.end() && old->tid < tid) ++old;
        const auto* before = old != group.threads.end() && old->tid == tid ? &old->counters : nullptr;
        ThreadChange change;
        readSchedule(tid, change.now);
        now.threads++;
        const auto add = [&] {
            change.pid = process.pid, change.tid = tid, change.start = process.start;
            now.changes.push_back(change);
        };
        if (now.pass == 1 || (before && change.now.hasSchedule && stoodStill(*before, change.now))) {
            auto& thread = found.emplace_back(before ? *old : Thread{tid, 0, change.now});
            if (stillWaits(thread, change, now)) add();
            continue;
        }
        if (!readStat(tid, change)) continue; // it has just ended
        readSwitches(tid, change.now);
        auto& thread = found.emplace_back(
            Thread{tid, change.thread_start, change.now, change.state == 'R', before ? old->booked_ns : 0});
        if (before && stoodStill(*before, change.now)) continue;
        const bool another = before && isAnother(*old, change);
        if (another || (!before && began(change))) change.before = Nothing, thread.booked_ns = 0;
        else if (before) change.before = *before;
        // What rows have had of a wait before it ended.
        change.now.wait_ns = std::max(change.now.wait_ns, thread.booked_ns);
        if (change.before) change.before->wait_ns = std::max(change.before->wait_ns, thread.booked_ns);
        add();
        now.ran++;
    }
    group.start = process.start;
    group.threads = found;
}

void ThreadSampler::sample(std::span<const Ran> ran, const ProcSample& known, ThreadSample& now) {
    now.pass++;
    now.before_us = now.at_us;
    now.at_us = getMonotonic();
    now.tick_us = known.tick_us, now.blocksCounted = known.blocksCounted;
    now.threads = now.ran = 0;
    now.changes.clear();
    for (auto& gone : known.gone) groups.erase(gone.pid);
    for (auto& process : ran) {
        if (process.threads <= 1) {
            groups.erase(process.pid);
            now.threads++, now.ran++;
            continue;
        }
        const auto [group, fresh] = groups.try_emplace(process.pid);
        const size_t first = now.changes.size();
        visit(process, group->second, !fresh && group->second.start == process.start, now);
        const auto* entry = known.find(process.pid);
        if (!entry) continue;
        for (size_t i = first; i < now.changes.size(); i++)
            now.changes[i].process = std::string_view(known.slots[entry->slot].name);
    }
    bootBefore_us = known.boot_us;
}

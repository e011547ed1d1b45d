#include "sample/procread.h"

#include "base/filestatus.h"
#include "base/numbers.h"
#include "parse/groupname.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

ProcReader::ProcReader(const Root& where, Helper& asks) : root(where), helper(asks), users(where), names(where, asks) {
    page_size = static_cast<uint64_t>(std::max(getPageSize(), 1));
    tick_ns = 1000000000U / static_cast<uint64_t>(std::max(getClockTicks(), 1));
    renew();
}

void ProcReader::renew() {
    FileStatus status;
    // Since 6.2 the size of the directory is the number of descriptors. This program has some.
    countsDescriptors = !root.isOther() && getFileStatus("/proc/self/fd", status) && status.size > 0;
    countsBlocks = readFile(root.path("/proc/sys/kernel/task_delayacct").c_str(), text) && text.view().starts_with('1');
    std::erase_if(groups, [](auto& group) { return group.second.use_count() == 1; });
    for (auto& [path, group] : groups) askForName(*group);
}

static bool hasEnded(int error) { return error == ENOENT || error == ESRCH; }

ProcAnswer ProcReader::read(int pid, const char* file, Reading how, size_t most) {
    snprintf(place, sizeof place, "%d/%s", pid, file);
    if (readFile(directory, place, text, how, most) && text.error == 0) return ProcAnswer::Good;
    return hasEnded(text.error ? text.error : errno) ? ProcAnswer::Ended : ProcAnswer::Refused;
}

// An open file is that of one process for good. Where that has ended, another one may have its pid.
ProcAnswer ProcReader::read(int pid, const char* file, ProcHeld* held, HeldFile ProcHeld::* one) {
    if (!held) return read(pid, file);
    auto& open = held->*one;
    snprintf(place, sizeof place, "%d/%s", pid, file);
    if (!open.isOpen() && !open.open(directory, place)) return read(pid, file);
    if (open.read(text, Reading::Single) && text.error == 0) return ProcAnswer::Good;
    const int error = text.error ? text.error : errno;
    open.close();
    return error == EACCES || error == EPERM ? ProcAnswer::Refused : read(pid, file);
}

ProcAnswer ProcReader::readStat(int pid, ProcessStat& stat, ProcHeld* held) {
    const auto answer = read(pid, "stat", held, &ProcHeld::stat);
    if (answer != ProcAnswer::Good) return stat = ProcessStat(), answer;
    return parseProcessStat(text.view(), stat) ? answer : ProcAnswer::Refused;
}

// --- CPU

std::optional<uint64_t> ProcReader::runTime(int pid, bool several) {
    if (!several) {
        if (read(pid, "schedstat") != ProcAnswer::Good) return {};
        const auto schedule = parseSchedule(text.view());
        return schedule ? std::optional(schedule->run_ns) : std::nullopt;
    }
    snprintf(place, sizeof place, "%d/task", pid);
    if (!tasks.open(directory, place) || !listing.start(tasks)) return {};
    uint64_t sum = 0;
    Listing::Entry entry{};
    while (listing.next(entry)) {
        char name[64];
        snprintf(name, sizeof name, "%.20s/schedstat", entry.name);
        if (!readFile(tasks, name, text, Reading::Single)) continue;
        if (const auto schedule = parseSchedule(text.view())) sum += schedule->run_ns;
    }
    tasks.close();
    return sum;
}

// Waits of the threads that are there. What a thread waited for since the last pass is lost when it ends.
void ProcReader::readWaits(Process& process) {
    auto& before = process.waits;
    const bool known = process.before.hasWait;
    if (!known) before.clear();
    else if (before.empty()) before.push_back({process.pid, process.before.wait_ns}); // it had one thread
    waits.clear();
    snprintf(place, sizeof place, "%d/task", process.pid);
    if (process.threads > MostThreads || !tasks.open(directory, place) || !listing.start(tasks)) return;
    uint64_t sum = 0;
    Listing::Entry entry{};
    while (listing.next(entry)) {
        char name[64];
        int tid = 0;
        snprintf(name, sizeof name, "%.20s/schedstat", entry.name);
        if (!toNumber(std::string_view(entry.name), tid) || !readFile(tasks, name, text, Reading::Single)) continue;
        const auto schedule = parseSchedule(text.view());
        if (!schedule) continue;
        waits.push_back({tid, schedule->wait_ns});
        const auto old =
            std::lower_bound(before.begin(), before.end(), tid, [](const ThreadWait& a, int b) { return a.tid < b; });
        const bool same = old != before.end() && old->tid == tid && old->wait_ns <= schedule->wait_ns;
        sum += schedule->wait_ns - (same ? old->wait_ns : 0);
    }
    tasks.close();
    std::sort(waits.begin(), waits.end(), [](auto& a, auto& b) { return a.tid < b.tid; });
    before.assign(waits.begin(), waits.end());
    process.now.wait_ns = (known ? process.before.wait_ns : 0) + sum;
    process.now.hasWait = !waits.empty();
}

void ProcReader::readWait(Process& process) {
    if (process.threads > 1 || !process.waits.empty()) return readWaits(process);
    if (read(process.pid, "schedstat", process.held.get(), &ProcHeld::schedstat) != ProcAnswer::Good) return;
    const auto schedule = parseSchedule(text.view());
    if (!schedule || schedule->slices == 0) return; // the kernel does not count
    process.now.wait_ns = schedule->wait_ns;
    process.now.hasWait = true;
}

// --- I/O

// /proc/PID/io has the threads that ended and the children that were waited for; the file of the only thread has
// neither. A process that once had several threads stays with the first file, because figures of two files are never
// subtracted from each other. As long as there was neither a second thread nor a child both files are the same, and the
// first one costs less.
void ProcReader::readIo(Process& process) {
    if (!process.mayReadIo) return;
    if (process.threads > 1 && !process.ioGroup) {
        process.ioGroup = true;
        if (!process.born) process.before.hasIo = false;
    }
    const bool ofThread = !process.ioGroup && process.now.children_faults > 0;
    char file[48] = "io";
    if (ofThread) snprintf(file, sizeof file, "task/%d/io", process.pid);
    auto* held = process.held.get();
    if (held && std::exchange(held->ioOfThread, ofThread) != ofThread) held->io.close();
    const auto answer = read(process.pid, file, held, &ProcHeld::io);
    if (answer == ProcAnswer::Refused) process.mayReadIo = false;
    if (answer != ProcAnswer::Good) return;
    if (const auto io = parseProcessIo(text.view())) process.now.io = *io, process.now.hasIo = true;
}

// --- Levels

static constexpr uint64_t Kib = 1024;

void ProcReader::setLevels(Process& process, const ProcessStat& stat) {
    if (process.name != stat.name) process.name = stat.name;
    process.state = stat.state;
    process.parent = static_cast<int>(stat.parent);
    process.kernel = (stat.flags & ProcessStat::Kernel) != 0;
    process.threads = stat.threads;
    process.nice = stat.nice;
    if (stat.state != 'D') process.wait_channel.clear();
    process.statRss = stat.rss;
    // While it stands still, the figure of status is the more exact one.
    if (!process.kernel && (!process.rss || stat.rss != process.readRss)) process.rss = stat.rss * page_size;
}

// "folio_wait_bit_common", without a newline. "0": it runs again, or a right is lacking.
void ProcReader::readWaitChannel(Process& process) {
    constexpr size_t Most = 64; // bytes; names of functions are shorter
    if (read(process.pid, "wchan", Reading::Single, Most) != ProcAnswer::Good) return process.wait_channel.clear();
    process.wait_channel = text.view() == "0" ? std::string_view() : text.view();
}

void ProcReader::readMemory(Process& process, uint32_t pass, int64_t now_us) {
    if (read(process.pid, "status", process.held.get(), &ProcHeld::status) != ProcAnswer::Good) return;
    const auto status = parseProcessStatus(text.view());
    if (status.uid && process.uid != status.uid) {
        process.uid = status.uid;
        process.user = users.of(static_cast<uint32_t>(*status.uid));
    }
    process.now.hasSwitches = status.voluntary && status.involuntary && process.threads == 1;
    process.now.voluntary = status.voluntary.value_or(0), process.now.involuntary = status.involuntary.value_or(0);
    if (process.kernel) return;
    // One that is ending has given its memory back.
    const bool ending = !status.rss_kib;
    const auto sum = [&] { return process.anonymous.value_or(0) + process.swap.value_or(0); };
    const bool first = process.memory_us == 0;
    const uint64_t before = sum();
    const auto bytes = [&](const std::optional<uint64_t>& kib) {
        return ending ? std::optional<uint64_t>(0) : kib ? std::optional(*kib * Kib) : std::nullopt;
    };
    process.rss = bytes(status.rss_kib);
    process.anonymous = bytes(status.anonymous_kib), process.swap = bytes(status.swap_kib);
    process.memory_us = now_us, process.readRss = process.statRss;
    if ((first && !process.born) || !process.anonymous) return;
    const auto grown = static_cast<int64_t>(sum()) - static_cast<int64_t>(before);
    process.growth = (process.growthPass == pass ? process.growth.value_or(0) : 0) + grown;
    process.growthPass = pass;
}

void ProcReader::readRest(Process& process) {
    process.mayReadIo = true; // tried again
    readGroup(process);
    const bool hasRun = std::exchange(process.restPass, process.pass) != process.pass; // since its last turn
    if (hasRun || process.command.empty()) readCommand(process);                       // only it changes its arguments
    if (hasRun || ++process.restTurns % FullTurns == 0) readLimits(process);
    readDescriptors(process);
}

// --- A process that ran

static bool hasExecuted(const Process& process, const ProcessStat& stat) {
    if (process.kernel) return false; // their names change with their work
    const auto other = [](uint64_t a, uint64_t b) { return a != 0 && b != 0 && a != b; };
    const bool executed = (process.flags & ProcessStat::NotExecuted) && !(stat.flags & ProcessStat::NotExecuted);
    return executed || process.name != stat.name || other(process.stack, stat.stack) ||
           other(process.arguments, stat.arguments);
}

void ProcReader::readCounters(Process& process, const ProcessStat& stat) {
    auto& now = process.now;
    now.user_ticks = stat.user_ticks, now.system_ticks = stat.system_ticks;
    now.children_ticks = stat.children_ticks, now.children_faults = stat.children_faults;
    now.minor_faults = stat.minor_faults, now.major_faults = stat.major_faults;
    now.block_ticks = stat.block_ticks;
    now.hasStat = true;
}

void ProcReader::readRan(Process& process, const ProcessStat& stat, uint32_t pass, int64_t now_us) {
    constexpr uint8_t Often = 8; // passes in which a busy process's descriptors are counted again
    const bool isNew = process.fresh;
    process.fresh = isNew || hasExecuted(process, stat);
    process.stack = stat.stack, process.arguments = stat.arguments, process.flags = stat.flags;
    if (process.fresh) process.passes = 0;
    if (++process.passes == 0) process.passes = Often;
    const bool settling = process.passes <= Settling;

    readCounters(process, stat);
    setLevels(process, stat);
    if (stat.state == 'D') readWaitChannel(process);
    readIo(process);
    readWait(process);
    const auto& before = process.before;
    const bool faulted = stat.minor_faults != before.minor_faults || stat.major_faults != before.major_faults;
    if (settling || (!process.kernel && (faulted || stat.rss != process.readRss))) readMemory(process, pass, now_us);
    if (settling) readGroup(process);
    if (settling || (process.command.empty() && !process.kernel)) readCommand(process);
    if (process.fresh) readLimits(process), process.restPass = pass;
    if (process.fresh || process.passes % Often == 0) readDescriptors(process);
}

uint64_t wroteIn(const Process& process, uint32_t pass) {
    if (process.pass != pass || !process.before.hasIo || !process.now.hasIo) return 0;
    const auto before = process.before.io.write_bytes, now = process.now.io.write_bytes;
    const auto* reaped = process.ioGroup ? reapedIn(process, pass) : nullptr;
    const auto others = reaped ? reaped->io.write_bytes : 0;
    return now > before + others ? now - before - others : 0;
}

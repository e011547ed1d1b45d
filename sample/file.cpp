#include "sample/file.h"

#include "base/clock.h"
#include "base/numbers.h"

#include <algorithm>
#include <cerrno>
#include <charconv>

FileSampler::FileSampler(const Root& where)
    : root(where), compares(!where.isOther() && cpuClocksMatchProc()), mounts(where), target(MostText) {}

// --- Files of a process

FileSampler::Name::Name(uint32_t number) { *std::to_chars(text, text + sizeof text - 1, number).ptr = '\0'; }

std::string FileSampler::procPath(uint32_t pid, const char* name) const {
    return root.path("/proc/" + std::to_string(pid) + "/" + name);
}

std::optional<std::string_view> FileSampler::linkOf(Look& look, const char* name) {
    if (!look.linksOpen) look.linksOpen = look.links.open(procPath(look.pid, "fd").c_str());
    if (!look.linksOpen) return {};
    const auto size = readLink(look.links, name, target.data(), target.size());
    if (size < 0) return {};
    return std::string_view(target.data(), static_cast<size_t>(size));
}

// Below another root the links lead to files of this machine.
bool FileSampler::statusOf(Look& look, const char* name, FileStatus& status) {
    if (root.isOther()) return errno = EXDEV, false;
    if (!look.linksOpen) look.linksOpen = look.links.open(procPath(look.pid, "fd").c_str());
    return look.linksOpen && getFileStatus(look.links, name, status);
}

// The numbers of its descriptors, in their order.
bool FileSampler::list(const HeldDirectory& infos) {
    numbers.clear();
    if (!listing.start(infos)) return false;
    for (Listing::Entry entry{}; listing.next(entry);) {
        uint32_t number = 0;
        if (toNumber(std::string_view(entry.name), number)) numbers.push_back(number);
    }
    if (!std::is_sorted(numbers.begin(), numbers.end())) std::sort(numbers.begin(), numbers.end());
    return true;
}

// --- Descriptors of a process

// The process may have the same file under another number now.
void FileSampler::close(const Look& look, const Descriptor& descriptor) {
    opens.release(descriptor.open);
    if (descriptor.open == None) return;
    opens[descriptor.open].closer = look.pid, opens[descriptor.open].closed = pass;
}

FileSampler::Seen FileSampler::read(Look& look, const Descriptor* before, Descriptor& result, FileSample& now) {
    const Name name(result.number);
    if (before && before->open == None) {
        if (readOther(look, name.text, result) == Seen::Gone) return Seen::Gone;
        if (result.digest == before->digest) return Seen::Here;
        before = nullptr;
    }
    const auto end = [&](Seen seen) {
        if (before) close(look, *before);
        return seen;
    };
    if (!readFile(look.infos, name.text, text, Reading::Single, MostText)) {
        if (errno == EACCES || errno == EPERM) look.refused = true;
        return end(Seen::Gone);
    }
    const auto info = parseOpenFile(text.view());
    if (info && before && isSame(opens[before->open], *info, look, name.text)) {
        opens[before->open].flags = info->flags;
        result.open = advance(look, result.number, before->open, info->position, now);
        return Seen::Here;
    }
    OpenFile made;
    if (!info || !classify(look, name.text, *info, made)) return end(readOther(look, name.text, result));
    made.position = info->position;
    if (pass > 1) waiting.push_back({look.place, found.size(), made});
    else result.open = attach(look, result.number, made, now);
    return end(Seen::Here);
}

// Both lists are in the order of their numbers.
void FileSampler::merge(Look& look, Process& process, FileSample& now) {
    found.clear();
    auto old = process.descriptors.cbegin();
    const auto end = process.descriptors.cend();
    for (const auto number : numbers) {
        for (; old != end && old->number < number; ++old) close(look, *old);
        const Descriptor* before = old != end && old->number == number ? &*old++ : nullptr;
        Descriptor descriptor;
        descriptor.number = number;
        if (read(look, before, descriptor, now) == Seen::Here) found.push_back(descriptor);
    }
    for (; old != end; ++old) close(look, *old);
    known += found.size();
    known -= process.descriptors.size();
    process.descriptors.assign(found.begin(), found.end());
}

uint32_t FileSampler::placeOf(uint32_t pid, uint64_t start) {
    uint32_t place = static_cast<uint32_t>(processes.size());
    if (freeProcesses.empty()) {
        processes.emplace_back();
    } else {
        place = freeProcesses.back();
        freeProcesses.pop_back();
    }
    processes[place].pid = pid, processes[place].start = start;
    places[pid] = place;
    return place;
}

void FileSampler::remove(uint32_t place) {
    auto& process = processes[place];
    for (auto& descriptor : process.descriptors) {
        if (descriptor.open == None) continue;
        auto& open = opens[descriptor.open];
        if (open.pid == process.pid) open.pid = 0; // its pid can be another process's next time
        opens.release(descriptor.open);
    }
    known -= process.descriptors.size();
    places.erase(process.pid);
    process = {};
    freeProcesses.push_back(place);
}

// That of its only thread has no children that ended.
std::optional<ProcessIo> FileSampler::readIo(const Process& process) {
    const auto pid = std::to_string(process.pid);
    const auto name = process.group ? pid + "/io" : pid + "/task/" + pid + "/io";
    if (!readFile(proc, name.c_str(), text, Reading::Single, MostText)) return {};
    return parseProcessIo(text.view());
}

void FileSampler::look(const Ran& ran, FileSample& now) {
    const auto pid = static_cast<uint32_t>(ran.pid);
    auto place = places.find(pid);
    if (place != places.end() && processes[place->second].start != ran.start) {
        remove(place->second);
        place = places.end();
    }
    const bool isKnown = place != places.end();
    Look look(pid, ran.start);
    look.ran = true, look.wrote = ran.wrote;
    look.opened = pass > 1 && (isKnown || ran.fresh);
    if (!look.infos.open(procPath(pid, "fdinfo").c_str()) || !list(look.infos)) {
        if (errno == EACCES || errno == EPERM) now.notAllowed++, forbidden++;
        if (isKnown) remove(place->second);
        return;
    }
    look.place = isKnown ? place->second : placeOf(pid, ran.start);
    look.reader = static_cast<uint32_t>(now.readers.size());
    now.readers.push_back({pid, ran.start, {}, {}, {}});
    auto& process = processes[look.place];
    process.pass = pass, process.wrote = look.wrote, process.opened = look.opened, process.reader = look.reader;
    // A process that began counts from 0.
    const bool group = ran.threads > 1 || (isKnown && process.group); // it may have threads that ended
    const bool isSame = isKnown && group == process.group;            // two files count differently
    const bool hasBase = isSame ? process.io.has_value() : !isKnown && look.opened;
    const auto base = isSame ? process.io.value_or(ProcessIo()) : ProcessIo();
    process.group = group;
    process.io = readIo(process);
    const size_t before = waiting.size();
    merge(look, process, now);
    // What moved after its counters were read must be in them.
    const auto after = look.moved || waiting.size() > before ? readIo(process) : process.io;
    if (hasBase && after && after->read_chars >= base.read_chars && after->write_chars >= base.write_chars) {
        auto& reader = now.readers[look.reader];
        reader.read = after->read_chars - base.read_chars, reader.written = after->write_chars - base.write_chars;
    }
    if (look.refused && process.descriptors.empty()) now.notAllowed++;
    else now.processes++;
    now.descriptors += process.descriptors.size();
}

// --- Descriptors of idle processes, in turn

// Reads at most so many of its descriptors. False: there is no such process.
bool FileSampler::refreshProcess(Process& process, FileSample& now, size_t& most) {
    Look look(process.pid, process.start);
    if (!look.infos.open(procPath(process.pid, "fdinfo").c_str())) return false;
    for (; cursorAt < process.descriptors.size() && most > 0; cursorAt++) {
        auto& descriptor = process.descriptors[cursorAt];
        if (descriptor.open == None || opens[descriptor.open].pass == pass) continue;
        most--;
        const Name name(descriptor.number);
        if (!readFile(look.infos, name.text, text, Reading::Single, MostText)) continue;
        const auto info = parseOpenFile(text.view());
        // What is another file now belongs to a process that runs: the next sample has it.
        if (!info || !isSame(opens[descriptor.open], *info, look, name.text)) continue;
        descriptor.open = advance(look, descriptor.number, descriptor.open, info->position, now);
    }
    return true;
}

void FileSampler::refresh(FileSample& now, size_t most) {
    for (size_t visits = processes.size(); visits > 0 && most > 0; visits--) {
        if (cursor >= processes.size()) cursor = cursorAt = 0;
        auto& process = processes[cursor];
        if (process.pid && process.pass != pass) {
            most--;
            if (!refreshProcess(process, now, most)) remove(static_cast<uint32_t>(cursor));
        } else {
            cursorAt = process.descriptors.size();
        }
        if (cursorAt >= process.descriptors.size()) cursor++, cursorAt = 0;
    }
}

// --- The sample

// The vectors keep their memory.
static void clear(FileSample& now) {
    FileSample next;
    next.before_us = now.at_us;
    next.at_us = getMonotonic();
    next.changes = std::move(now.changes);
    next.readers = std::move(now.readers);
    next.holders = std::move(now.holders);
    next.changes.clear();
    next.readers.clear();
    next.holders.clear();
    now = std::move(next);
}

void FileSampler::sample(std::span<const Ran> ran, FileSample& now) {
    constexpr size_t LeastTurn = 8;
    const int64_t started_ns = getRealtime() * 1000000;
    clear(now);
    now.paired = pass++ > 0;
    if (pass == 1) proc.open(root.path("/proc").c_str());
    mounts.renew();
    size_t fresh = 0;
    for (auto& process : ran) {
        look(process, now);
        fresh += process.fresh;
    }
    attachWaiting(now);
    // Of processes that begin some are gone soon: they are found in turn, too.
    if (pass > 1) refresh(now, static_cast<size_t>(known / Turn) + LeastTurn + 2 * fresh);
    gather(now);
    opens.freeUnused();
    now.known = known;
    before_ns = started_ns;
}

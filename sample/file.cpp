#include "sample/file.h"

#include "base/clock.h"
#include "base/numbers.h"

#include <algorithm>
#include <cerrno>
#include <charconv>

#include <fcntl.h>
#include <sys/stat.h>

static constexpr size_t MostText = 4096; // of fdinfo; what matters is in its first lines

FileSampler::FileSampler(const Root& where)
    : root(where), compares(!where.isOther() && cpuClocksMatchProc()), mounts(where), target(MostText) {}

// --- Files of a process

namespace {
struct Name {
    char text[12];
    explicit Name(uint32_t number) { *std::to_chars(text, text + sizeof text - 1, number).ptr = '\0'; }
};
} // namespace

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

static uint64_t digestOf(std::string_view text) { // FNV-1a
    uint64_t digest = 0xcbf29ce484222325;
    for (const char c : text) digest = (digest ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    return digest;
}

// --- The table of open files

size_t FileSampler::bucketOf(const Open& open) const {
    const uint64_t mixed = (open.inode ^ uint64_t{open.mount} << 40) * 0x9e3779b97f4a7c15;
    return static_cast<size_t>(mixed >> 20) & (buckets.size() - 1);
}

void FileSampler::link(uint32_t at) {
    auto& open = opens[at];
    auto& first = buckets[bucketOf(open)];
    open.previous = None, open.next = first;
    if (first != None) opens[first].previous = at;
    first = at;
}

void FileSampler::unlink(uint32_t at) {
    auto& open = opens[at];
    if (open.next != None) opens[open.next].previous = open.previous;
    if (open.previous != None) opens[open.previous].next = open.next;
    else buckets[bucketOf(open)] = open.next;
}

uint32_t FileSampler::add(const Open& made) {
    constexpr size_t FirstBuckets = 256;
    if (++used > buckets.size()) {
        buckets.assign(std::max(FirstBuckets, buckets.size() * 2), None);
        for (uint32_t i = 0; i < opens.size(); i++)
            if (!opens[i].free) link(i);
    }
    uint32_t at = static_cast<uint32_t>(opens.size());
    if (freeOpens.empty()) {
        opens.push_back(made);
    } else {
        at = freeOpens.back();
        freeOpens.pop_back();
        opens[at] = made;
    }
    link(at);
    return at;
}

// Its last descriptor may be found again under another number, so its place is only free when the sample is complete.
void FileSampler::release(uint32_t at) {
    if (at != None && --opens[at].references == 0) dying.push_back(at);
}

// The process may have the same file under another number now.
void FileSampler::close(const Look& look, const Descriptor& descriptor) {
    release(descriptor.open);
    if (descriptor.open == None) return;
    opens[descriptor.open].closer = look.pid, opens[descriptor.open].closed = pass;
}

void FileSampler::freeUnused() {
    for (const auto at : dying) {
        auto& open = opens[at];
        if (open.references || open.free) continue;
        unlink(at);
        open.free = true;
        freeOpens.push_back(at);
        used--;
    }
    dying.clear();
}

// --- What a descriptor is

// What is no file is known by its link, which costs less than fdinfo and changes with another socket or pipe.
FileSampler::Seen FileSampler::readOther(Look& look, const char* name, Descriptor& result) {
    const auto link = linkOf(look, name);
    if (!link) return Seen::Gone;
    result.open = None;
    result.digest = static_cast<uint32_t>(::digestOf(*link));
    return Seen::Here;
}

// The identity of a file on kernels whose fdinfo has no inode.
uint64_t FileSampler::digestOf(Look& look, const char* name) {
    const auto link = linkOf(look, name);
    return link ? ::digestOf(*link) : 0;
}

// A mount that is unknown is one that was unmounted lazily, or the kernel's own: of anonymous files in memory, whose
// paths have no folder.
bool FileSampler::classifyUnknown(Look& look, const char* name, const OpenFileInfo& info, Open& made) {
    const auto link = linkOf(look, name);
    if (!link || !link->starts_with('/')) return false;
    const std::string path(*link);
    if (info.mount) {
        const auto& mount = mounts.find(*info.mount, look.pid);
        if (mount.kind == MountIds::Kind::Kernel) return false;
        if (mount.kind == MountIds::Kind::Unknown)
            return !path.ends_with(" (deleted)") || (path.find('/', 1) != path.npos && path != "/dev/zero (deleted)");
        made.type = mount.kind == MountIds::Kind::Remote ? Type::Unasked : Type::File;
    }
    return true;
}

// Whether it is a regular file or a block device. Only local filesystems are asked for that.
bool FileSampler::classify(Look& look, const char* name, const OpenFileInfo& info, Open& made) {
    made.mount = info.mount.value_or(0), made.flags = info.flags;
    made.type = Type::Unasked;
    if (!hasContent(info.flags)) return false;
    const auto* mount = info.mount ? mounts.find(*info.mount) : nullptr;
    if (mount && mount->kind != MountIds::Kind::Unknown) {
        if (mount->kind == MountIds::Kind::Kernel) return false;
        made.type = mount->kind == MountIds::Kind::Remote ? Type::Unasked : Type::File;
    } else if (!classifyUnknown(look, name, info, made)) {
        return false;
    }
    FileStatus status;
    if (made.type == Type::File && statusOf(look, name, status)) {
        if (!S_ISREG(status.mode) && !S_ISBLK(status.mode)) return false;
        made.type = S_ISBLK(status.mode) ? Type::Device : Type::File;
        made.sized = made.type == Type::File;
        made.size = status.size, made.modified_ns = status.modified_ns;
        made.inode = status.inode;
    } else {
        made.type = Type::Unasked;
    }
    if (info.inode) made.inode = *info.inode;
    else if (made.type == Type::Unasked) made.inode = digestOf(look, name), made.digested = true;
    return true;
}

// Whether a descriptor still stands for the file that it stood for.
bool FileSampler::isSame(const Open& open, const OpenFileInfo& info, Look& look, const char* name) {
    if (info.mount.value_or(0) != open.mount || (info.flags & O_ACCMODE) != (open.flags & O_ACCMODE)) return false;
    if (info.inode) return *info.inode == open.inode;
    if (open.digested) return digestOf(look, name) == open.inode;
    FileStatus status;
    return statusOf(look, name, status) && status.inode == open.inode;
}

// --- Movement

// The position that the file has now, through the descriptor that it was last read by; none when that is gone.
std::optional<uint64_t> FileSampler::positionOf(const Open& open) {
    if (!open.pid) return {};
    const Name name(open.descriptor);
    if (!readFile(proc, (std::to_string(open.pid) + "/fdinfo/" + name.text).c_str(), text, Reading::Single, MostText))
        return {};
    const auto info = parseOpenFile(text.view());
    if (!info || info->mount.value_or(0) != open.mount || (info->inode && *info->inode != open.inode)) return {};
    return info->position;
}

// Whether a descriptor that was taken to share this file has in truth one of its own: equal positions were chance.
// Between two readings a shared position may have gone on.
bool FileSampler::isOther(const Open& open, const Look& look, uint32_t number, uint64_t position) {
    if (open.proven || position == open.position || (open.pid == look.pid && open.descriptor == number)) return false;
    const auto there = positionOf(open);
    if (!there || *there == position) return false;
    return !(open.position <= position && position <= *there);
}

// The first reading of an open file in this sample.
void FileSampler::begin(Open& open) {
    if (open.pass == pass) return;
    open.pass = pass;
    open.before = open.position;
    open.growth = 0;
    open.holders = open.agreed = 0;
    open.asked = open.written = open.changed = false;
}

// Keeps who has it, and what changed.
void FileSampler::note(Look& look, uint32_t number, uint32_t at, FileSample& now) {
    auto& open = opens[at];
    open.pid = look.pid, open.descriptor = number;
    if (open.type == Type::File && look.ran && canWrite(open.flags) && (look.wrote || open.position != open.before))
        askSize(look, number, open);
    const bool moved = open.position != open.before;
    look.moved |= moved;
    if ((moved || open.written) && !open.changed) open.changed = true, changed.push_back(at);
    if (look.ran && (open.references > 1 || open.changed)) {
        now.holders.push_back({look.reader, number, open.holders});
        open.holders = static_cast<uint32_t>(now.holders.size());
    }
}

void FileSampler::askSize(Look& look, uint32_t number, Open& open) {
    if (open.asked) return;
    FileStatus status;
    const Name name(number);
    if (!statusOf(look, name.text, status)) return;
    open.asked = true;
    if (open.sized) {
        open.growth = static_cast<int64_t>(status.size - open.size);
        open.written = open.growth != 0 || status.modified_ns != open.modified_ns;
    } else if (open.born == pass) {
        open.written = look.wrote && status.modified_ns >= before_ns;
    }
    open.sized = true;
    open.size = status.size, open.modified_ns = status.modified_ns;
}

// The open file that the descriptor really has.
uint32_t FileSampler::advance(Look& look, uint32_t number, uint32_t at, uint64_t position, FileSample& now) {
    auto& open = opens[at];
    if (open.references > 1 && isOther(open, look, number, position)) {
        auto own = open;
        own.references = 1;
        own.proven = true;
        // What the shared one did since they were found equal says nothing about this one.
        const uint64_t last = open.pass == pass ? open.before : open.position;
        own.position = last == open.common ? last : position;
        own.pass = 0;
        begin(own);
        own.position = position;
        release(at);
        own.agreed = 1, own.common = position;
        at = add(own);
    } else {
        begin(open);
        if (open.position != position) open.agreed = 0;
        open.position = position;
        if (++open.agreed == open.references) open.common = position;
    }
    note(look, number, at, now);
    return at;
}

// --- New descriptors

// Whether a new descriptor is another one of this open file: inherited, duplicated or handed over.
bool FileSampler::shares(Open& open, const Look& look, uint32_t number, const Open& made) {
    const auto compared = compares && open.pid
                              ? isOneOpenFile({static_cast<int>(open.pid), static_cast<int>(open.descriptor)},
                                              {static_cast<int>(look.pid), static_cast<int>(number)})
                              : std::nullopt;
    if (compared == true) return true;
    const bool equal = open.position == made.position && open.flags == made.flags;
    const bool mine = open.pid == look.pid || (open.closed == pass && open.closer == look.pid);
    if (!equal && !mine) return false;
    const auto there = positionOf(open);
    // The same process has it under another number: it was duplicated, and the first one closed.
    if (!there) return mine && open.flags == made.flags && open.position <= made.position;
    if (compared.has_value() || !equal || *there != made.position) return false;
    open.proven = false;
    return true;
}

uint32_t FileSampler::attach(Look& look, uint32_t number, const Open& made, FileSample& now) {
    size_t left = MostCompared;
    for (uint32_t at = buckets.empty() ? None : buckets[bucketOf(made)]; at != None; at = opens[at].next) {
        auto& open = opens[at];
        if (open.inode != made.inode || open.mount != made.mount || open.digested != made.digested ||
            (open.flags & O_ACCMODE) != (made.flags & O_ACCMODE))
            continue;
        if (left-- == 0) break;
        if (!shares(open, look, number, made)) continue;
        if (open.pass != pass) { // otherwise it has gone on since this descriptor was read
            begin(open);
            open.position = made.position;
        }
        open.agreed = ++open.references;
        open.common = open.position;
        note(look, number, at, now);
        return at;
    }
    const auto at = add(made);
    auto& open = opens[at];
    open.references = open.agreed = 1;
    open.pass = pass;
    open.before = open.common = open.position;
    if (look.opened) {
        open.born = pass;
        open.before = 0;
        open.written = look.wrote && open.sized && canWrite(open.flags) && open.modified_ns >= before_ns;
        open.asked = true;
    }
    note(look, number, at, now);
    return at;
}

void FileSampler::attachWaiting(FileSample& now) {
    for (size_t i = 0; i < waiting.size();) {
        auto& process = processes[waiting[i].place];
        Look look(process.pid, process.start);
        look.ran = true, look.wrote = process.wrote, look.opened = process.opened, look.reader = process.reader;
        for (const auto place = waiting[i].place; i < waiting.size() && waiting[i].place == place; i++) {
            auto& descriptor = process.descriptors[waiting[i].at];
            descriptor.open = attach(look, descriptor.number, waiting[i].made, now);
        }
    }
    waiting.clear();
}

// --- Descriptors of a process

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
    Open made;
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
        release(descriptor.open);
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
        if (errno == EACCES || errno == EPERM) now.notAllowed++;
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

// The path as the kernel says it. It adds " (deleted)" to the name of a deleted file; of one that still has names it
// cannot be told from a name that ends so.
FileChange FileSampler::describe(const Open& open, FileSample& now) {
    FileChange change;
    const bool moved = open.position != open.before;
    change.how = !moved              ? FileChange::How::Written
                 : open.born == pass ? FileChange::How::Opened
                 : open.holders != 0 ? FileChange::How::Moved
                                     : FileChange::How::Passed;
    if (!open.holders) {
        const auto place = places.find(open.pid);
        auto& reader = now.readers.emplace_back();
        reader.pid = open.pid;
        reader.start = place == places.end() ? 0 : processes[place->second].start;
        if (readFile(proc, (std::to_string(open.pid) + "/comm").c_str(), text, Reading::Single, MostText))
            reader.name = text.view().substr(0, text.view().rfind('\n'));
        now.holders.push_back({static_cast<uint32_t>(now.readers.size() - 1), open.descriptor, 0});
    }
    change.holders = open.holders ? open.holders : static_cast<uint32_t>(now.holders.size());
    change.descriptors = std::max(open.references, 1U);
    change.flags = open.flags, change.mount = open.mount;
    if (!open.digested) change.inode = open.inode;
    change.before = open.before, change.position = open.position;
    if (open.asked && open.sized && open.born != pass) change.growth = open.growth;
    const auto& mount = mounts.find(open.mount, open.pid);
    if (mount.kind != MountIds::Kind::Unknown && open.type != Type::Device) {
        change.point = mount.point, change.type = mount.type, change.source = mount.source;
        change.major = mount.major, change.minor = mount.minor;
    }
    const std::string name = std::to_string(open.pid) + "/fd/" + std::to_string(open.descriptor);
    const auto size = readLink(proc, name.c_str(), target.data(), target.size());
    FileStatus status;
    const bool asked = open.type != Type::Unasked && !root.isOther() && getFileStatus(proc, name.c_str(), status);
    if (size < 0 || (asked && !open.digested && status.inode != open.inode)) return change; // it is another one now
    change.path.assign(target.data(), static_cast<size_t>(size));
    constexpr std::string_view Suffix = " (deleted)";
    if (change.path.ends_with(Suffix) && !(asked && status.links > 0)) {
        change.path.resize(change.path.size() - Suffix.size());
        change.deleted = true;
    }
    if (!asked) return change;
    if (open.type == Type::Device) change.major = status.deviceMajor, change.minor = status.deviceMinor;
    else change.size = status.size;
    return change;
}

static uint64_t distance(uint64_t a, uint64_t b) { return a > b ? a - b : b - a; }

// Describes the largest changes and adds up the others.
void FileSampler::gather(FileSample& now) {
    const auto figure = [&](uint32_t at) {
        const auto& open = opens[at];
        return std::max(distance(open.position, open.before), open.growth < 0
                                                                  ? uint64_t{0} - static_cast<uint64_t>(open.growth)
                                                                  : static_cast<uint64_t>(open.growth));
    };
    for (const auto at : changed) (opens[at].position != opens[at].before ? now.moved : now.written)++;
    const size_t most = std::min(Most, changed.size());
    if (most < changed.size())
        std::nth_element(changed.begin(), changed.begin() + Most, changed.end(), [&](uint32_t a, uint32_t b) {
            const auto left = figure(a), right = figure(b);
            return left != right ? left > right : a < b;
        });
    for (size_t i = 0; i < changed.size(); i++) {
        const auto& open = opens[changed[i]];
        if (i < most) {
            now.changes.push_back(describe(open, now));
            continue;
        }
        now.rest++;
        (open.position > open.before ? now.restForward : now.restBackward) += distance(open.position, open.before);
        now.restGrowth += open.growth;
    }
    changed.clear();
}

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
    freeUnused();
    now.known = known;
    before_ns = started_ns;
}

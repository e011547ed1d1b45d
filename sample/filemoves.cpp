// What a descriptor stands for, how far it has moved, and which others share its open file.
#include "sample/file.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

// --- What a descriptor is

static uint64_t digestOf(std::string_view text) { // FNV-1a
    uint64_t digest = 0xcbf29ce484222325;
    for (const char c : text) digest = (digest ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    return digest;
}

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
bool FileSampler::classifyUnknown(Look& look, const char* name, const OpenFileInfo& info, OpenFile& made) {
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
bool FileSampler::classify(Look& look, const char* name, const OpenFileInfo& info, OpenFile& made) {
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
bool FileSampler::isSame(const OpenFile& open, const OpenFileInfo& info, Look& look, const char* name) {
    if (info.mount.value_or(0) != open.mount || (info.flags & O_ACCMODE) != (open.flags & O_ACCMODE)) return false;
    if (info.inode) return *info.inode == open.inode;
    if (open.digested) return digestOf(look, name) == open.inode;
    FileStatus status;
    return statusOf(look, name, status) && status.inode == open.inode;
}

// --- Movement

// The position that the file has now, through the descriptor that it was last read by; none when that is gone.
std::optional<uint64_t> FileSampler::positionOf(const OpenFile& open) {
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
bool FileSampler::isOther(const OpenFile& open, const Look& look, uint32_t number, uint64_t position) {
    if (open.proven || position == open.position || (open.pid == look.pid && open.descriptor == number)) return false;
    const auto there = positionOf(open);
    if (!there || *there == position) return false;
    return !(open.position <= position && position <= *there);
}

// The first reading of an open file in this sample.
void FileSampler::begin(OpenFile& open) {
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

void FileSampler::askSize(Look& look, uint32_t number, OpenFile& open) {
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
        opens.release(at);
        own.agreed = 1, own.common = position;
        at = opens.add(own);
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
bool FileSampler::shares(OpenFile& open, const Look& look, uint32_t number, const OpenFile& made) {
    const auto compared = compares && open.pid
                              ? isOneOpenFile({static_cast<int>(open.pid), static_cast<int>(open.descriptor)},
                                              {static_cast<int>(look.pid), static_cast<int>(number)})
                              : std::nullopt;
    if (compared == true) return true;
    const bool equal = open.position == made.position && open.flags == made.flags;
    const bool mine = open.pid == look.pid || (open.closed == pass && open.closer == look.pid);
    if (!equal && !mine) return false;
    // The kernel knows both, and they are two. Only where the other one has gone since it was read, is there more to
    // ask; many descriptors of one file would each cost dozens of questions.
    const bool isThere = !mine || (open.pass == pass && open.pid == look.pid);
    if (compared == false && isThere) return false;
    const auto there = positionOf(open);
    // The same process has it under another number: it was duplicated, and the first one closed.
    if (!there) return mine && open.flags == made.flags && open.position <= made.position;
    if (compared.has_value() || !equal || *there != made.position) return false;
    open.proven = false;
    return true;
}

uint32_t FileSampler::attach(Look& look, uint32_t number, const OpenFile& made, FileSample& now) {
    size_t left = MostCompared;
    for (uint32_t at = opens.firstLike(made); at != None; at = opens[at].next) {
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
    const auto at = opens.add(made);
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

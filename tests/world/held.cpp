// The made-up machine behind base/held.h, base/filestatus.h and base/outfile.h.
#include "base/held.h"

#include "base/filestatus.h"
#include "base/outfile.h"
#include "tests/world/places.h"
#include "tests/world/world.h"

#include <algorithm>
#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

static World& world() { return *World::current; }
static TDevices& devices() { return World::current->devices; }

// --- Held files

HeldFile& HeldFile::operator=(HeldFile&& other) noexcept {
    path.swap(other.path);
    std::swap(fd, other.fd);
    return *this;
}

void HeldFile::close() {
    if (fd >= 0 && World::current) devices().held.erase(fd);
    fd = -1;
}

// A handle of the file; -1: there is none, and errno tells why.
static int hold(const std::string& name) {
    world().open(name);
    if (const int error = world().failure("open", name)) return errno = error, -1;
    const auto real = world().resolved(name, true);
    const auto* node = world().find(real);
    if (!node) return errno = ENOENT, -1;
    const int handle = ++devices().lastHandle;
    devices().held[handle] = {real, node->inode, node->text};
    return handle;
}

bool HeldFile::open(const Place& at, const char* name) {
    close();
    path.clear();
    fd = hold(below(at, name));
    return fd >= 0;
}

// What a read of the held file gives: errno, or 0 and its text. A file that was made again is another one.
static int readHeld(const THeld& held, std::string& text) {
    const auto* node = world().find(held.path);
    if (!node || node->inode != held.inode) return ENODEV;
    if (node->kind != TNode::File) return EISDIR;
    text = node->text;
    return world().failure("read", held.path);
}

static void setText(Contents& text, const std::string& from, size_t most) {
    const size_t size = std::min(from.size(), most);
    if (text.capacity < size + 1) {
        text.capacity = size + 1;
        text.data.reset(new char[text.capacity]);
    }
    std::copy_n(from.data(), size, text.data.get());
    text.size = size;
    text.error = 0;
}

bool HeldFile::read(Contents& text, Reading, size_t most) {
    text.size = 0;
    for (bool fresh = false; !fresh;) {
        fresh = fd < 0;
        if (fresh && path.empty()) return errno = EBADF, false;
        if (fresh && (fd = hold(World::normal(path))) < 0) return text.noted(errno), false;
        std::string content;
        const auto& held = devices().held.at(fd);
        if (!fresh) world().open(held.path);
        const int error = readHeld(held, content);
        if (error == 0) return setText(text, content, most), true;
        errno = text.error = text.noted(error);
        if (error != ENODEV) break;
        close();
        if (path.empty()) break;
    }
    return false;
}

bool HeldFile::changed() {
    if (fd < 0) return false;
    auto& held = devices().held.at(fd);
    std::string text;
    readHeld(held, text);
    const bool different = text != held.seen;
    held.seen = text;
    return different;
}

// --- Held directories

HeldDirectory& HeldDirectory::operator=(HeldDirectory&& other) noexcept {
    std::swap(fd, other.fd);
    return *this;
}

static int openDirectory(const std::string& path) {
    world().open(path);
    if (const int error = world().failure("open", path)) return errno = error, -1;
    return openPlace(path);
}

bool HeldDirectory::open(const char* path) {
    close();
    return (fd = openDirectory(World::normal(path))) >= 0;
}

bool HeldDirectory::open(const Place& at, const char* name) {
    close();
    return (fd = openDirectory(below(at, name))) >= 0;
}

void HeldDirectory::close() {
    closePlace(fd);
    fd = -1;
}

// The buffer has, for each entry, a letter for its kind, its inode, and its name, each ended by NUL.
bool Listing::start(const HeldDirectory& of) {
    buffer.clear();
    at = end = 0;
    if (!of.isOpen()) return errno = EBADF, false;
    const auto path = placePath(of.handle());
    const auto* node = world().find(path);
    if (!node || node->kind != TNode::Dir) return true; // removed: it opened once, and is empty now
    for (const auto& name : node->entries) {
        const auto* entry = world().find((path == "/" ? "" : path) + "/" + name);
        buffer += entry->kind == TNode::Dir ? 'd' : entry->kind == TNode::Link ? 'l' : 'f';
        buffer.append(std::to_string(entry->inode)).append(1, '\0').append(name).append(1, '\0');
    }
    end = buffer.size();
    return true;
}

bool Listing::next(Entry& entry) {
    if (at >= end) return false;
    const char kind = buffer[at];
    const char* number = buffer.data() + at + 1;
    const auto name = buffer.find('\0', at) + 1;
    entry.name = buffer.data() + name;
    entry.inode = std::stoull(number);
    entry.kind = kind == 'd' ? Kind::Directory : kind == 'l' ? Kind::Link : Kind::File;
    at = buffer.find('\0', name) + 1;
    return true;
}

// --- statx

static bool statusOf(const std::string& path, FileStatus& status) {
    if (const int error = world().failure("stat", path)) return errno = error, false;
    const auto real = world().resolved(path, true);
    const auto* node = world().find(real);
    // The link of a descriptor leads to its file also when that has no name any more.
    const auto* link = world().find(path);
    if (!node && !(link && link->kind == TNode::Link && devices().facts.count(path))) return errno = ENOENT, false;
    const auto found = devices().facts.find(path);
    const TFileFacts facts = found == devices().facts.end() ? TFileFacts{} : found->second;
    status.inode = facts.inode.value_or(node ? node->inode : 0);
    status.size = facts.size.value_or(node ? node->text.size() : 0);
    status.major = facts.major;
    status.minor = facts.minor;
    status.modified_ns = facts.modified;
    const bool directory = facts.type ? facts.type == 'd' : node && node->kind == TNode::Dir;
    status.mode = directory           ? S_IFDIR | 0755
                  : facts.type == 'b' ? S_IFBLK | 0660
                  : facts.type == 'c' ? S_IFCHR | 0660
                                      : S_IFREG | 0644;
    status.deviceMajor = facts.deviceMajor, status.deviceMinor = facts.deviceMinor;
    status.links = facts.links;
    return true;
}

bool getFileStatus(const char* path, FileStatus& status) { return statusOf(World::normal(path), status); }
bool getFileStatus(const Place& at, const char* name, FileStatus& status) { return statusOf(below(at, name), status); }

std::optional<bool> isOneOpenFile(DescriptorOf one, DescriptorOf other) {
    const auto number = [](DescriptorOf of) -> std::optional<uint64_t> {
        const auto path = "/proc/" + std::to_string(of.pid) + "/fd/" + std::to_string(of.number);
        const auto known = devices().openFiles.find(path);
        if (known == devices().openFiles.end() || !world().find(path)) return {};
        return known->second;
    };
    const auto first = number(one), second = number(other);
    if (!first || !second) return {};
    return first == second;
}

// --- Files that are written

bool OutFile::open(const std::string& path, How how) {
    close();
    const auto name = World::normal(path);
    world().open(name);
    if (const int error = world().failure("open", name)) return errno = error, false;
    const auto* node = world().find(name);
    if (node && how == How::Create) return errno = EEXIST, false;
    if (node && node->kind != TNode::File) return errno = EISDIR, false;
    if (!node || how == How::New)
        if (const int error = world().truncate(name, 0)) return errno = error, false;
    fd = ++devices().lastHandle;
    devices().files[fd] = name;
    return true;
}

void OutFile::openStandard() {
    close();
    fd = STDOUT_FILENO;
}

bool OutFile::write(std::string_view text) {
    if (fd == STDOUT_FILENO) return putOut(text), true;
    const int error = world().append(devices().files.at(fd), text);
    if (error) errno = error;
    return error == 0;
}

bool OutFile::sync() { return true; }

bool OutFile::truncate(uint64_t size) {
    if (fd == STDOUT_FILENO) return errno = EINVAL, false;
    return world().truncate(devices().files.at(fd), size) == 0;
}

bool OutFile::size(uint64_t& bytes) {
    const auto found = devices().files.find(fd);
    bytes = found == devices().files.end() ? 0 : world().find(found->second)->text.size();
    return true;
}

void OutFile::shareWithAdm() {}

bool OutFile::close() {
    fd = -1;
    return true;
}

// The door of the made-up machine: implements base/door.h.
#include "base/door.h"

#include "tests/world/places.h"
#include "tests/world/world.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <unistd.h>

// Texts by handle: the paths of open places, the output of commands that is still to be read.
namespace {
class Handles {
    std::vector<std::unique_ptr<std::string>> texts;

public:
    int add(std::string text) {
        const auto unused = std::find(texts.begin(), texts.end(), nullptr);
        const auto at = texts.insert(unused == texts.end() ? unused : texts.erase(unused), nullptr);
        *at = std::make_unique<std::string>(std::move(text));
        return static_cast<int>(at - texts.begin());
    }
    std::string& operator[](int handle) { return *texts[static_cast<size_t>(handle)]; }
    // Gives the handle back; it is none afterwards.
    void release(int& handle) {
        if (handle >= 0) texts[static_cast<size_t>(handle)].reset();
        handle = -1;
    }
};
} // namespace

static Handles& handles() {
    static Handles opened;
    return opened;
}

static World& world() { return *World::current; }

std::string below(const Place& at, const char* name) {
    return name[0] == '/' ? World::normal(name) : World::normal(handles()[at.handle()] + "/" + name);
}

static bool failed(int error) {
    errno = error;
    return error != 0;
}

// errno of an operation that needs an existing path; 0: it works.
static int check(const char* operation, const std::string& path) {
    if (const int error = world().failure(operation, path)) return error;
    return world().find(path) ? 0 : ENOENT;
}

void closePlace(int handle) { handles().release(handle); }

std::string placePath(int handle) { return handles()[handle]; }

int openPlace(const std::string& name) {
    const auto path = world().resolved(name, true);
    const auto* node = world().find(path);
    if (!node || node->kind != TNode::Dir) return errno = node ? ENOTDIR : ENOENT, -1;
    return handles().add(path);
}

bool HeldPlace::open(const char* path) {
    close();
    return (fd = openPlace(World::normal(path))) >= 0;
}

bool HeldPlace::open(const Place& at, const char* name) {
    close();
    return (fd = openPlace(below(at, name))) >= 0;
}

void HeldPlace::close() { handles().release(fd); }

namespace {
struct TListing {
    std::vector<std::pair<std::string, uint64_t>> entries;
    size_t at = 0;
};
} // namespace

static TListing* openListing(const std::string& path) {
    world().open(path);
    if (failed(check("open", path))) return nullptr;
    const auto real = world().resolved(path, true);
    const auto* node = world().find(real);
    if (!node || node->kind != TNode::Dir) return errno = node ? ENOTDIR : ENOENT, nullptr;
    auto* listing = new TListing{{{".", node->inode}, {"..", 1}}, 0};
    for (auto& name : node->entries) {
        std::string entry = real == "/" ? "" : real;
        entry.append("/").append(name);
        listing->entries.emplace_back(name, world().find(entry)->inode);
    }
    return listing;
}

bool Directory::hold(void* opened) {
    dir = opened;
    return opened != nullptr;
}

bool Directory::open(const char* path) {
    close();
    return hold(openListing(World::normal(path))) && (fd = openPlace(World::normal(path))) >= 0;
}

bool Directory::open(const Place& at, const char* name) {
    close();
    const auto path = below(at, name);
    return hold(openListing(path)) && (fd = openPlace(path)) >= 0;
}

bool Directory::next(Entry& entry) {
    auto* listing = static_cast<TListing*>(dir);
    if (listing->at >= listing->entries.size()) return false;
    auto& found = listing->entries[listing->at++];
    entry = {found.first.c_str(), found.second};
    return true;
}

void Directory::close() {
    delete static_cast<TListing*>(dir);
    hold(nullptr);
    handles().release(fd);
}

static void setContents(Contents& text, std::string_view from) {
    if (text.capacity < from.size() + 1) {
        text.capacity = from.size() + 1;
        text.data.reset(new char[text.capacity]);
    }
    std::copy(from.begin(), from.end(), text.data.get());
    text.size = from.size();
    text.error = 0;
}

// A link is followed once, to an absolute path of this world.
static std::string followed(const std::string& path) {
    const auto* node = world().find(path);
    return node && node->kind == TNode::Link && node->text.starts_with("/") ? World::normal(node->text) : path;
}

static bool readPath(const std::string& path, Contents& text, size_t most) {
    world().open(path);
    if (failed(text.noted(check("open", path)))) return false;
    const auto* node = world().find(followed(path));
    if (failed(node ? 0 : ENOENT)) return false;
    const int error = text.noted(node->kind == TNode::File ? world().failure("read", path) : EISDIR);
    setContents(text, error ? std::string_view{} : std::string_view(node->text).substr(0, most));
    text.error = error;
    return true;
}

bool readFile(const char* path, Contents& text, Reading, size_t most) {
    return readPath(World::normal(path), text, most);
}

bool readFile(const Place& at, const char* name, Contents& text, Reading, size_t most) {
    return readPath(below(at, name), text, most);
}

bool canOpen(const char* path) {
    Contents text;
    return readFile(path, text);
}

ptrdiff_t readLink(const Place& at, const char* name, char* target, size_t size) {
    const auto path = below(at, name);
    if (failed(check("link", path))) return -1;
    const auto* node = world().find(path);
    if (node->kind != TNode::Link) return errno = EINVAL, -1;
    const auto length = std::min(size, node->text.size());
    std::copy_n(node->text.data(), length, target);
    return static_cast<ptrdiff_t>(length);
}

bool inodeOf(const char* name, uint64_t& inode) {
    const auto path = World::normal(name);
    if (failed(check("stat", path))) return false;
    const auto* node = world().find(followed(path));
    if (failed(node ? 0 : ENOENT)) return false;
    inode = node->inode;
    return true;
}

bool removeFile(const char* path) { return !failed(world().remove(path)); }

bool MountTable::open(const char* path) {
    static Contents text; // stays while the table is read
    table.reset();
    if (!readFile(path, text)) return false;
    table.reset(text.size ? fmemopen(text.data.get(), text.size, "r") : fopen("/dev/null", "re"));
    return table != nullptr;
}

const mntent* MountTable::next() { return getmntent(table.get()); }

SpaceAnswer getSpace(const char* dir, TSpace& space) {
    const auto path = World::normal(dir);
    if (failed(check("stat", path))) return SpaceAnswer::StatFailed;
    world().open(path);
    if (failed(check("open", path))) return SpaceAnswer::OpenFailed;
    if (failed(check("statfs", path))) return SpaceAnswer::StatfsFailed;
    TSpaceFacts facts;
    world().space(path, facts);
    space = {static_cast<long>(facts.bsize), facts.blocks, facts.bfree, facts.bavail, facts.files, facts.ffree};
    return SpaceAnswer::Ok;
}

// A command's output comes in pieces, the first of them small, as a pipe may give it.
static constexpr size_t SmallPiece = 100, LargePiece = 65536, Beginning = 1000;
static constexpr int Endless = 1; // the process number of a command that never stops printing

static void append(Contents& text, std::string_view piece) {
    if (text.capacity < text.size + piece.size()) {
        text.capacity = std::max(2 * text.capacity, text.size + piece.size());
        std::unique_ptr<char[]> larger(new char[text.capacity]);
        std::copy_n(text.data.get(), text.size, larger.get());
        text.data = std::move(larger);
    }
    std::copy(piece.begin(), piece.end(), text.data.get() + text.size);
    text.size += piece.size();
}

bool ShellCommand::start(const char* command) {
    close();
    std::string text;
    if (!world().run(command, text)) return false;
    const bool endless = world().endless(command);
    while (endless && text.size() < LargePiece) text += text;
    output = handles().add(text);
    process = endless ? Endless : -1;
    return true;
}

bool ShellCommand::read(Contents& text) {
    auto& left = handles()[output];
    const auto piece = left.substr(0, text.size < Beginning ? SmallPiece : LargePiece);
    left.erase(0, piece.size());
    if (process == Endless) left += piece;
    append(text, piece);
    return !piece.empty();
}

void ShellCommand::close() { handles().release(output); }

bool getUserName(uint32_t uid, std::string& name) {
    const auto* user = world().user(uid);
    if (user) name = *user;
    return user != nullptr;
}

bool readUserName(uint32_t uid, std::string& name) { return getUserName(uid, name); }

bool getHostName(char* name, size_t size) {
    if (failed(world().hostError)) return false;
    strncpy(name, world().hostName.c_str(), size);
    return true;
}

int getPageSize() { return world().pageSize; }
int getClockTicks() { return world().clockTicks; }

TStamp getClock() {
    const int64_t now = world().clock();
    return {static_cast<time_t>(now / 1000), static_cast<int>(now % 1000)};
}

void pauseFor(unsigned microseconds) { world().pause(microseconds); }

bool isTerminal() { return world().terminal; }

static void put(int fd, std::string_view text) {
    while (!text.empty()) {
        const auto n = write(fd, text.data(), text.size());
        if (n <= 0) return;
        text.remove_prefix(static_cast<size_t>(n));
    }
}

void putOut(std::string_view text) { put(STDOUT_FILENO, text); }
void putErr(std::string_view text) { put(STDERR_FILENO, text); }

// The made-up machine behind base/infile.h: a file is read as it is, or was before another one took its name; standard
// input is empty.
#include "base/infile.h"

#include "tests/world/world.h"

#include <cerrno>

static World& world() { return *World::current; }
static TDevices& devices() { return World::current->devices; }

bool InFile::open(const std::string& path) {
    close();
    const auto name = World::normal(path);
    world().open(name);
    if (const int reason = world().failure("open", name)) return errno = reason, false;
    const auto* node = world().find(world().resolved(name, true));
    if (!node || node->kind == TNode::Dir) return errno = node ? EISDIR : ENOENT, false;
    fd = ++devices().lastHandle;
    devices().unread[fd] = {name, node->text, 0, true};
    error = world().failure("read", name);
    return true;
}

void InFile::openStandard() {
    close();
    fd = ++devices().lastHandle;
    devices().unread[fd] = {};
}

size_t InFile::read(char* to, size_t size) {
    auto& file = devices().unread.at(fd);
    const size_t n = readAt(file.at, to, size);
    return file.at += n, n;
}

bool InFile::skip(uint64_t bytes) { return goTo(devices().unread.at(fd).at + bytes); }

std::optional<uint64_t> InFile::size() {
    const auto& file = devices().unread.at(fd);
    return file.plain ? std::optional<uint64_t>(file.text.size()) : std::nullopt;
}

// A file that has grown has more; one that has another's name now is the old one still.
size_t InFile::readAt(uint64_t at, char* to, size_t size) {
    auto& file = devices().unread.at(fd);
    const auto* node = file.plain ? world().find(world().resolved(file.name, true)) : nullptr;
    if (node && node->text.starts_with(file.text)) file.text = node->text;
    return error || at >= file.text.size() ? 0 : file.text.copy(to, size, at);
}

bool InFile::goTo(uint64_t at) {
    devices().unread.at(fd).at = at;
    return true;
}

void InFile::close() {
    if (fd >= 0 && World::current) devices().unread.erase(fd);
    fd = -1;
    error = 0;
}

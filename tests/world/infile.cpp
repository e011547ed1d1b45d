// The made-up machine behind base/infile.h: a file is read as it is when it is opened; standard input is empty.
#include "base/infile.h"

#include "tests/world/world.h"

#include <algorithm>
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
    devices().unread[fd] = node->text;
    error = world().failure("read", name);
    return true;
}

void InFile::openStandard() {
    close();
    fd = ++devices().lastHandle;
    devices().unread[fd] = "";
}

size_t InFile::read(char* to, size_t size) {
    auto& left = devices().unread.at(fd);
    if (error) return 0;
    const size_t n = left.copy(to, size);
    left.erase(0, n);
    return n;
}

bool InFile::skip(uint64_t bytes) {
    auto& left = devices().unread.at(fd);
    left.erase(0, std::min<uint64_t>(bytes, left.size()));
    return true;
}

void InFile::close() {
    if (fd >= 0 && World::current) devices().unread.erase(fd);
    fd = -1;
    error = 0;
}

// The made-up machine behind base/folder.h and base/child.h.
#include "base/folder.h"

#include "base/child.h"
#include "tests/world/world.h"

#include <cerrno>

static World& world() { return *World::current; }

static bool failed(int error) {
    errno = error;
    return error != 0;
}

bool makeFolder(const char* path) { return !failed(world().makeFolder(World::normal(path))); }
bool renameFile(const char* from, const char* to) {
    return !failed(world().rename(World::normal(from), World::normal(to)));
}
bool makeLink(const char* target, const char* path) { return !failed(world().makeLink(World::normal(path), target)); }
bool syncFolder(const char*) { return true; }

// `fail lock DIR EWOULDBLOCK`: another recorder has it.
bool FolderLock::take(const char* path) {
    const auto name = World::normal(path);
    const auto* node = world().find(name);
    if (failed(node ? world().failure("lock", name) : ENOENT)) return false;
    fd = ++world().devices.lastHandle;
    return true;
}

void FolderLock::release() { fd = -1; }

// It runs, if the test has an answer for it, when somebody asks whether it has ended.
bool Child::start(std::span<const std::string> programs, const std::vector<std::string>& words) {
    stop();
    bool found = false;
    for (const auto& program : programs) found = found || (!program.empty() && world().find(World::normal(program)));
    if (!found) return pid = 0, true;
    world().log += "child";
    for (const auto& word : words) world().log += " " + word;
    world().log += "\n";
    pid = ++world().devices.lastHandle;
    world().children[pid] = words;
    return true;
}

std::optional<int> Child::ended() {
    if (pid < 0) return {};
    const auto found = world().children.find(pid);
    pid = -1;
    if (found == world().children.end()) return 127;
    const auto words = std::move(found->second);
    world().children.erase(found);
    return world().child ? world().child(words) : 1;
}

void Child::stop() {
    if (pid > 0 && World::current) world().children.erase(pid);
    pid = -1;
}

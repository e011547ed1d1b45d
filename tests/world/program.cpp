// The made-up machine: implements base/program.h.
#include "base/program.h"

#include "tests/world/world.h"

#include <cerrno>

#include <linux/netlink.h>

std::string ownPath() {
    const auto* link = World::current->find("/proc/self/exe");
    return link ? link->text : "";
}

// PATH has /usr/bin only.
int becomeProgram(const char* path, char* const argv[]) {
    const std::string name = path;
    const auto where = World::normal(name.find('/') == name.npos ? "/usr/bin/" + name : name);
    if (const int error = World::current->failure("open", where)) return error;
    if (!World::current->find(where)) return ENOENT;
    World::current->log += "become " + where;
    for (size_t i = 1; argv[i]; i++) World::current->log += std::string(" ") + argv[i];
    World::current->log += "\n";
    throw TBecame{};
}

std::optional<int> endedChild() {
    auto& devices = World::current->devices;
    constexpr int Child = 4300;
    tellAll(devices, NETLINK_GENERIC, 1, encodeMessages("taskstats", "exit " + std::to_string(Child) + " wyrt").bytes);
    return Child;
}

bool lockMemory() { return false; }
void keepNoLargeMemory() {}
void giveBackMemory() {}
uint64_t allowDescriptors(uint64_t wanted) { return wanted; }

bool mayRunThreads() { return false; }

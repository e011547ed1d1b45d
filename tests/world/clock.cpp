// The made-up machine behind base/clock.h, base/host.h and base/terminal.h.
#include "base/clock.h"

#include "base/host.h"
#include "base/terminal.h"
#include "tests/world/world.h"

static World& world() { return *World::current; }

int64_t getMonotonic() { return world().clocks.monotonic; }
int64_t getBoottime() { return world().clocks.boot; }
int64_t getRealtime() { return world().clock(); }

std::optional<uint64_t> getCpuClock(int pid) {
    const auto& clocks = world().clocks.cpu;
    const auto found = clocks.find(pid);
    return found == clocks.end() ? std::nullopt : std::optional(found->second);
}

bool cpuClocksMatchProc() { return world().clocks.matchProc; }
uint64_t getOwnCpu() { return world().clocks.own; }
int getOwnPid() { return world().clocks.pid; }

Host getHost() { return {world().hostName, world().devices.release, world().devices.machine}; }

std::optional<TerminalSize> getTerminalSize() {
    const auto& size = world().devices.size;
    if (!world().terminal || !size) return {};
    return TerminalSize{size->first, size->second};
}

struct Keys::Kept {};

// A person who sits at a terminal sees both streams there.
bool isErrorTerminal() { return world().terminal; }

Keys::Keys() {
    if (world().terminal) before = std::make_unique<Kept>();
}
Keys::~Keys() = default;
void Keys::renew() {}
int Keys::handle() const { return before ? KeysHandle : -1; }

std::optional<char> Keys::take() {
    auto& typed = world().devices.keys;
    if (!before || typed.empty()) return {};
    const char key = typed.front();
    typed.erase(0, 1);
    return key;
}

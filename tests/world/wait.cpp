// The made-up machine behind base/wait.h.
#include "base/wait.h"

#include "base/door.h"
#include "tests/world/world.h"

#include <algorithm>
#include <cerrno>
#include <utility>

struct Signals::State {};

static World& world() { return *World::current; }
static TDevices& devices() { return World::current->devices; }

Signals::Signals() : state(std::make_unique<State>()) {}
Signals::~Signals() = default;
int Signals::end() { return devices().end; }
bool Signals::pipeClosed() { return devices().pipeClosed; }
bool Signals::takeResized() { return std::exchange(devices().resized, false); }
int Signals::handle() const { return -1; }

static bool takeReady(std::span<Watched> watched) {
    bool any = false;
    for (auto& one : watched) any |= one.ready = devices().isReady(one.handle, world().clocks.monotonic);
    return any;
}

// When the next answer of a helper comes; -1: none will.
static int64_t soonestOf(std::span<Watched> watched) {
    int64_t soonest = -1;
    for (const auto& one : watched) {
        const int64_t ready = devices().readyAt(one.handle, world().clocks.monotonic);
        if (ready >= 0) soonest = soonest < 0 ? ready : std::min(soonest, ready);
    }
    return soonest;
}

// A signal wakes the pause in which it comes, and no later one.
Woken waitUntil(int64_t deadline, Signals& signals, std::span<Watched> watched) {
    const std::pair before(signals.end(), signals.pipeClosed());
    const auto signaled = [&] { return before != std::pair(signals.end(), signals.pipeClosed()) || devices().resized; };
    world().wait(deadline, [&] { return signaled() || takeReady(watched); }, [&] { return soonestOf(watched); });
    const bool ready = takeReady(watched);
    return signaled() ? Woken::Signal : ready ? Woken::Ready : Woken::Time;
}

bool waitReady(int64_t deadline, std::span<Watched> watched) {
    if (takeReady(watched)) return true;
    const int64_t soonest = soonestOf(watched), now = world().clocks.monotonic;
    const int64_t until = soonest >= 0 ? std::min(soonest, deadline) : deadline;
    world().advance(std::max<int64_t>(0, until - now));
    return takeReady(watched);
}

bool putUntilSignal(Signals& signals, std::string_view text) {
    if (signals.pipeClosed()) return errno = EPIPE, false;
    putOut(text);
    return true;
}

#include "base/wait.h"

#include "base/clock.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

// --- Signals

struct Signals::State {
    sigset_t before{};
    int fd = -1;
    int end = 0;
    bool pipeClosed = false, resized = false;

    void look(); // reads the signals that have come
};

static constexpr int Taken[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGWINCH, SIGCONT};

Signals::Signals() : state(std::make_unique<State>()) {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : Taken) sigaddset(&set, number);
    pthread_sigmask(SIG_BLOCK, &set, &state->before);
    state->fd = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

// Pending signals that were not handled must not end the program now.
Signals::~Signals() {
    state->look();
    if (state->fd >= 0) close(state->fd);
    pthread_sigmask(SIG_SETMASK, &state->before, nullptr);
}

void Signals::State::look() {
    signalfd_siginfo info{};
    while (fd >= 0 && read(fd, &info, sizeof info) == sizeof info) {
        const int number = static_cast<int>(info.ssi_signo);
        if (number == SIGPIPE) pipeClosed = true;
        else if (number == SIGWINCH || number == SIGCONT) resized = true;
        else if (end == 0) end = number;
    }
}

int Signals::end() {
    state->look();
    return state->end;
}

bool Signals::pipeClosed() {
    state->look();
    return state->pipeClosed;
}

bool Signals::takeResized() {
    state->look();
    return std::exchange(state->resized, false);
}

int Signals::handle() const { return state->fd; }

// --- Waiting

// Polls until something is ready or until the deadline. False: the deadline has come.
static bool pollUntil(int64_t deadline, std::span<pollfd> files) {
    for (;;) {
        const int64_t left = std::max<int64_t>(0, deadline - getMonotonic());
        timespec time{left / 1000000, left % 1000000 * 1000};
        const int n = ppoll(files.data(), files.size(), &time, nullptr);
        if (n > 0) return true;
        if (n == 0 && left == 0) return false;
        if (n < 0 && errno != EINTR) return false;
    }
}

static std::vector<pollfd> pollList(std::span<const Watched> watched) {
    std::vector<pollfd> files;
    files.reserve(watched.size() + 1);
    for (const auto& one : watched) files.push_back({one.handle, POLLIN, 0});
    return files;
}

static bool takeReady(std::span<const pollfd> files, std::span<Watched> watched) {
    bool any = false;
    for (size_t i = 0; i < watched.size(); i++) any |= watched[i].ready = files[i].revents != 0;
    return any;
}

Woken waitUntil(int64_t deadline, Signals& signals, std::span<Watched> watched) {
    auto files = pollList(watched);
    files.push_back({signals.handle(), POLLIN, 0});
    const bool woken = pollUntil(deadline, files);
    const bool ready = takeReady(files, watched);
    if (!woken) return Woken::Time;
    return files.back().revents ? Woken::Signal : ready ? Woken::Ready : Woken::Time;
}

bool waitReady(int64_t deadline, std::span<Watched> watched) {
    auto files = pollList(watched);
    pollUntil(deadline, files);
    return takeReady(files, watched);
}

// --- Standard output

// Waits until standard output accepts data. After a signal to end it waits only half a second.
static bool waitForRoom(Signals& signals) {
    constexpr int Patience = 500; // milliseconds
    for (;;) {
        const bool ending = signals.end() != 0;
        pollfd files[] = {
            {STDOUT_FILENO,    POLLOUT, 0},
            {signals.handle(), POLLIN,  0}
        };
        const int n = poll(files, ending ? 1 : 2, ending ? Patience : -1);
        if (n < 0 && errno != EINTR) return false;
        if (n > 0 && files[0].revents) return true;
        if (n == 0 && ending) return errno = EINTR, false;
    }
}

bool putUntilSignal(Signals& signals, std::string_view text) {
    constexpr size_t Piece = 4096; // a pipe that is ready accepts this much without blocking
    while (!text.empty()) {
        if (!waitForRoom(signals)) return false;
        const ssize_t n = write(STDOUT_FILENO, text.data(), std::min(text.size(), Piece));
        if (n > 0) text.remove_prefix(static_cast<size_t>(n));
        else if (n == 0) return errno = EIO, false;
        else if (errno != EINTR && errno != EAGAIN) return false;
    }
    return true;
}

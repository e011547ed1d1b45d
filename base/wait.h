// Signals that are asked for instead of handled, and the only pause of the new form.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

// While it exists, SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGWINCH and SIGCONT do not end or interrupt the program; its
// functions tell which came. Make it before any thread, so that all threads leave these signals to it. There may be
// only one at a time.
class Signals {
    struct State;
    std::unique_ptr<State> state;

public:
    Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;
    ~Signals();
    // Which of SIGINT, SIGTERM, SIGHUP came first; 0: none. It stays.
    int end();
    // Whether the reader of standard output has closed it. Stays true.
    bool pipeClosed();
    // Whether the terminal has changed its size, or the program went on after a stop, since this was last asked.
    bool takeResized();
    int handle() const;
};

// A handle that a pause watches besides signals.
struct Watched {
    int handle = -1;    // -1: nothing
    bool ready = false; // has something to read
};

enum class Woken { Time, Signal, Ready };
// Sleeps until the monotonic clock reaches `deadline` (microseconds), a signal came, or one of the watched has
// something to read. Signals come first, then what is ready. Whoever leaves something unread is woken again at once.
Woken waitUntil(int64_t deadline, Signals& signals, std::span<Watched> watched = {});

// Sleeps until one of the watched has something to read, or until the deadline; signals wait. True: something is ready.
bool waitReady(int64_t deadline, std::span<Watched> watched);

// Writes all of the text to standard output. False: it takes no more, and errno tells why: EPIPE (nobody reads it),
// ENOSPC, ..., or EINTR: it took nothing for a while and SIGINT, SIGTERM or SIGHUP came.
bool putUntilSignal(Signals& signals, std::string_view text);

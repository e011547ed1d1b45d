// The terminal: its size, single keys.
#pragma once

#include <memory>
#include <optional>

struct TerminalSize {
    int columns = 0, rows = 0;
};
// Of standard output; none: it is no terminal, or does not know its size.
std::optional<TerminalSize> getTerminalSize();

// While it lives, keys come one by one, without Enter and without an echo; signal keys (Ctrl-C) still send their
// signals. The terminal is as before when it ends. Works only where standard input is a terminal and the program is in
// the foreground.
class Keys {
    struct Kept; // the terminal's settings before
    std::unique_ptr<Kept> before;

public:
    Keys();
    Keys(const Keys&) = delete;
    Keys& operator=(const Keys&) = delete;
    ~Keys();
    bool work() const { return before != nullptr; }
    // Again, after a stop (Ctrl-Z) in which the shell had the terminal.
    void renew();
    // To be watched by waitUntil; -1: there are no keys.
    int handle() const;
    // The next byte that was typed; none: none has come. At the end of the input the keys stop working.
    std::optional<char> take();
};

// The terminal: its size, single keys.
#pragma once

#include <memory>
#include <optional>

struct TerminalSize {
    int columns = 0, rows = 0;
};
// The size of standard output; none when it is no terminal or does not know its size.
std::optional<TerminalSize> getTerminalSize();

// Whether standard error is a terminal, so that a person sees what is written there and then wiped away.
bool isErrorTerminal();

// While it lives, keys come one by one, without Enter and without an echo; signal keys (Ctrl-C) still send their
// signals. Restores the terminal at its end. Works only where standard input is a terminal and the program is in
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
    // Sets the terminal again, after a stop (Ctrl-Z) in which the shell used it.
    void renew();
    // To be watched by waitUntil; -1: there are no keys, or the program is in the background now.
    int handle() const;
    // The next typed byte; none: there is none yet. At the end of the input the keys stop working.
    std::optional<char> take();
};

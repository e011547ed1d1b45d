// Where tables go: redrawn in place on a terminal, or appended.
#pragma once

#include "base/outfile.h"
#include "base/terminal.h"
#include "base/wait.h"
#include "wyrt/settings.h"

#include <optional>
#include <string>
#include <string_view>

// What a page looks like on a screen of so many rows: every line overwrites the one before, what is too much is left
// out, and what stood below goes.
std::string redrawn(std::string_view page, size_t rows);

class Screen {
    Signals& signals;
    std::optional<Keys> keys; // where it is redrawn
    OutFile file;             // where an output file was asked for
    bool toFile = false, redraws = false, colors = false, held = false, cleared = false;
    int failure = 0;

public:
    explicit Screen(Signals& facts) : signals(facts) {}
    // False: the output file cannot be made; errno tells why.
    bool open(const Settings& settings);
    bool isRedrawn() const { return redraws; }
    bool isHeld() const { return held; }
    bool color() const { return colors; }
    size_t width() const; // 0: no limit
    // Shows a page. False: the output takes no more, see error().
    bool show(std::string_view page);
    // Marks the upper right corner of a screen that is held. False: as for show.
    bool markHeld();
    int error() const { return failure; }
    int handle() const { return keys ? keys->handle() : -1; }
    enum class Key { None, Quit, Hold };
    // What the keys that have come ask for.
    Key take();
    // The terminal has changed, or the program went on after a stop.
    void renew();
};

// Where the text of a command goes: a file, or standard output, on a terminal through a pager.
#pragma once

#include "base/outfile.h"
#include "base/pager.h"
#include "wyrtlog/options.h"

#include <string_view>

class Output {
    OutFile file;
    Pager pager;
    bool terminal = false, pages = false, begun = false;
    size_t columns = 0;    // of the terminal behind the pager
    bool rawNames = false; // the text has names as others chose them, not made safe for a terminal
    Color color = Color::Auto;
    int failure = 0; // errno of a write

public:
    // False: the file cannot be opened, and standard error has the reason.
    bool open(const Asked& asked);
    // Of the terminal; 0: no limit.
    size_t width() const;
    bool colored() const;
    // The pager begins with the first text, so that an error before it stands alone. False: no more can be written.
    bool write(std::string_view text);
    // Waits until the reader has left the pager; messages may follow. Returns `status`, or Failed after a line about a
    // write that failed. A reader who does not read on is no failure.
    int finish(int status);
};

// Commands and pauses. Each flushes the output first: so all that was said is on the screen while the program waits,
// and what a command itself writes follows it.
#pragma once

#include "base/door.h"

#include <string_view>

// Sleeps.
void pauseFlushed(unsigned microseconds);

// The output of a shell command, line by line as fgets with a buffer of `limit` bytes gives it (see Lines). Nothing is
// read beyond the lines that are asked for. At the end of its life the command's pipe is closed and its end awaited.
class CommandLines {
    ShellCommand command;
    bool running;
    Contents text;
    size_t limit, used = 0, total = 0;

    bool read();

public:
    // A command that cannot be started has no lines.
    CommandLines(const char* shellCommand, size_t lineLimit);
    // False at the end of the output. The line is valid until the next call.
    bool next(std::string_view& line);
};

// More than the tools say of ten thousand logical volumes. What a command prints beyond it is not read.
constexpr size_t MostOutput = size_t{64} << 20U; // bytes

// Runs a command in a shell and collects what it prints.
bool runCommand(const char* shellCommand, Contents& text);

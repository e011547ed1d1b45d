#include "classic/collect/flushed.h"

#include "base/output.h"
#include "base/words.h"

#include <algorithm>

void pauseFlushed(unsigned microseconds) {
    flushOutput();
    pauseFor(microseconds);
}

static bool startFlushed(ShellCommand& command, const char* shellCommand) {
    flushOutput();
    return command.start(shellCommand);
}

CommandLines::CommandLines(const char* shellCommand, size_t lineLimit)
    : running(startFlushed(command, shellCommand)), limit(lineLimit) {}

// More of the output, in place of the lines that were used.
bool CommandLines::read() {
    if (!running || total >= MostOutput) return false;
    std::copy(text.data.get() + used, text.data.get() + text.size, text.data.get());
    text.size -= used;
    used = 0;
    const size_t before = text.size;
    running = command.read(text);
    total += text.size - before;
    return running;
}

bool CommandLines::next(std::string_view& line) {
    const auto complete = [&] {
        const auto rest = text.view().substr(used);
        return rest.size() >= limit - 1 || rest.find('\n') != rest.npos;
    };
    while (!complete() && read()) continue;
    Lines lines(text.view().substr(used), limit);
    const bool found = lines.next(line);
    used = text.size - lines.left().size();
    return found;
}

bool runCommand(const char* shellCommand, Contents& text) {
    text.size = 0;
    text.error = 0;
    ShellCommand command;
    if (!startFlushed(command, shellCommand)) return false;
    while (text.size < MostOutput && command.read(text)) continue;
    return true;
}

#include "wyrtlog/output.h"

#include "base/door.h"
#include "base/masking.h"
#include "base/refusal.h"
#include "base/terminal.h"
#include "wyrtlog/logfiles.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

bool Output::open(const Asked& asked) {
    if (asked.output.empty()) {
        file.openStandard();
    } else if (isOneOf(asked.logs, asked.output)) {
        failed(inQuotes(asked.output) + " is one of the logs: writing it would destroy what is to be read");
        return false;
    } else if (!file.open(asked.output, OutFile::How::New)) {
        failed(inQuotes(asked.output) + ": " + strerror(errno));
        return false;
    }
    terminal = asked.output.empty() && isTerminal();
    rawNames = asked.task == LogTask::Export;
    pages = terminal && !asked.noPager && !asked.follow;
    color = asked.color;
    return true;
}

size_t Output::width() const {
    if (pages && begun) return columns; // standard output is the pager's pipe
    const auto size = terminal ? getTerminalSize() : std::nullopt;
    return size && size->columns > 0 ? static_cast<size_t>(size->columns) : 0;
}

bool Output::colored() const { return isColored(color, terminal); }

// Without what a terminal would take for commands; tabs and newlines stay.
static std::string masked(std::string_view text) {
    std::string shown;
    for (;;) {
        std::string part(text.substr(0, text.find('\t')));
        text.remove_prefix(part.size());
        maskControls(part);
        shown += part;
        if (text.empty()) return shown;
        shown += '\t';
        text.remove_prefix(1);
    }
}

bool Output::write(std::string_view text) {
    if (pages && !begun) columns = width(), pager.start(pagerWords(std::getenv("WYRT_PAGER"), std::getenv("PAGER")));
    begun = true;
    if (!file.write(terminal && rawNames ? masked(text) : text)) failure = errno;
    return failure == 0;
}

int Output::finish(int status) {
    pager.finish();
    if (failure == 0 || failure == EPIPE) return status;
    return failed(std::string("the output takes no more: ") + strerror(failure));
}

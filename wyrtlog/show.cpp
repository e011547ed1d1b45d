#include "wyrtlog/show.h"

#include "base/door.h"
#include "base/outfile.h"
#include "base/pager.h"
#include "base/refusal.h"
#include "base/terminal.h"
#include "view/areas.h"
#include "why/findings.h"
#include "wyrtlog/logs.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

// What the log was shown with, but for what is asked for now.
static ViewRow viewOf(const ViewRow& then, const Asked& asked) {
    ViewRow view = then;
    if (!asked.areas.empty()) view.areas = asked.areas;
    takeTableWords(asked.table, view); // what it refuses was refused with the command line
    return view;
}

int show(const Asked& asked) {
    OutFile out;
    if (asked.output.empty()) out.openStandard();
    else if (!out.open(asked.output, OutFile::How::New)) return failed(inQuotes(asked.output) + ": " + strerror(errno));
    const auto terminal = asked.output.empty() ? getTerminalSize() : std::nullopt;
    const size_t width = terminal && terminal->columns > 0 ? static_cast<size_t>(terminal->columns) : 0;
    Pager pager; // with the first page, so that an error stands alone
    const bool paged = asked.output.empty() && !asked.noPager && isTerminal();
    ViewRow view;
    const LogReader* viewed = nullptr; // whose view it is: logs that overlap take turns
    uint64_t shown = 0, left = 0;
    int written = 0; // errno of a write that failed
    std::string wrong;
    const int status = eachFound(asked, [&](const LogReader& reader, LogReader::Found found, Interval& interval) {
        if (found == LogReader::Found::Head || &reader != viewed) {
            viewed = &reader;
            view = viewOf(reader.view(), asked);
            if (asked.table.sort) wrong = whyUnknown("--sort", view.sort, sortWords(view.areas));
            if (!wrong.empty()) return false;
        }
        if (found == LogReader::Found::Torn) left++;
        if (found != LogReader::Found::Interval) return true;
        if ((interval.damaged || reader.headDamaged()) && !asked.damaged) return left++, true;
        // A log that was not made for findings is asked for them now, as is one for which other limits are given.
        if (hasWord(view.areas, "why") && (asked.table.limits || !isJudged(interval))) {
            Limits limits;
            limits.set(view.limits);
            judge(interval, limits);
        }
        Page page(width, asked.color);
        showInterval(interval, {reader.head(), view}, page);
        if (shown++ == 0 && paged) pager.start(pagerWords(std::getenv("WYRT_PAGER"), std::getenv("PAGER")));
        if (out.write(page.text())) return true;
        written = errno;
        return false;
    });
    pager.finish(); // messages come when the terminal is free again
    if (!wrong.empty()) return refused(wrong, "wyrt show --help");
    if (written == EPIPE) return status; // nobody reads on
    if (written) return failed(std::string("the output takes no more: ") + strerror(written));
    if (left > 0)
        putErr("wyrt: " + std::to_string(left) + (left == 1 ? " interval is" : " intervals are") +
               " damaged or cut short and left out (--damaged shows what can be read)\n");
    return shown == 0 && status == Done ? failed("there is no interval to show") : status;
}

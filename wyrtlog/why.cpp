#include "wyrtlog/why.h"

#include "base/clock.h"
#include "base/door.h"
#include "base/outfile.h"
#include "base/refusal.h"
#include "base/terminal.h"
#include "base/when.h"
#include "view/format.h"
#include "view/why.h"
#include "why/span.h"
#include "wyrtlog/logs.h"

#include <cerrno>
#include <cstring>
#include <limits>

namespace {
// The intervals that end in it are looked at.
struct Bounds {
    int64_t since_ms = std::numeric_limits<int64_t>::min(), until_ms = std::numeric_limits<int64_t>::max();
    bool has(Moment time) const { return time.epoch_ms > since_ms && time.epoch_ms <= until_ms; }
};
} // namespace

static bool takeTime(const std::string& typed, int64_t now_ms, int64_t& to) {
    if (typed.empty()) return true;
    const auto time = parseWhen(typed, now_ms);
    if (time) to = *time;
    return time.has_value();
}

// "db7  2026-11-21T14:05:08.000+01:00 to 2026-11-21T15:05:08.000+01:00  1800 intervals"
static std::string titleOf(const std::string& host, Moment from, Moment to, uint64_t intervals) {
    std::string text = safeText(host) + "  ";
    appendMoment(text, from);
    text += " to ";
    appendMoment(text, to);
    return text + "  " + std::to_string(intervals) + (intervals == 1 ? " interval" : " intervals");
}

int why(const Asked& asked) {
    const int64_t now_ms = getRealtime();
    Bounds bounds;
    for (auto& [typed, to] : {std::pair(&asked.since, &bounds.since_ms), std::pair(&asked.until, &bounds.until_ms)})
        if (!takeTime(*typed, now_ms, *to))
            return refused(inQuotes(*typed) +
                               " is no time like 14:05, '2026-11-21 14:05', -10m, yesterday or @1795266641",
                           "wyrt why --help");
    OutFile out;
    if (asked.output.empty()) out.openStandard();
    else if (!out.open(asked.output, OutFile::How::New)) return failed(inQuotes(asked.output) + ": " + strerror(errno));
    Span span;
    Limits limits;
    LogHead head;
    const LogReader* limited = nullptr; // whose limits these are: logs that overlap take turns
    Moment from, to;
    uint64_t left = 0;
    const int status = eachFound(asked, [&](const LogReader& reader, LogReader::Found found, Interval& interval) {
        if (found == LogReader::Found::Head || &reader != limited) {
            limited = &reader;
            head = reader.head();
            limits = Limits();
            limits.set(asked.table.limits ? *asked.table.limits : reader.view().limits);
        }
        if (found == LogReader::Found::Torn) left++;
        if (found != LogReader::Found::Interval) return true;
        if ((interval.damaged || reader.headDamaged()) && !asked.damaged) return left++, true;
        if (!bounds.has(interval.time)) return true;
        if (asked.table.limits || !isJudged(interval)) judge(interval, limits);
        if (span.intervals() == 0) {
            from = interval.time;
            from.epoch_ms -= interval.elapsed_us / 1000;
        }
        to = interval.time;
        span.add(interval);
        return true;
    });
    if (left > 0)
        putErr("wyrt: " + std::to_string(left) + (left == 1 ? " interval is" : " intervals are") +
               " damaged or cut short and left out (--damaged counts what can be read)\n");
    if (span.intervals() == 0) return status == Done ? failed("there is no interval in this span") : status;
    const auto terminal = asked.output.empty() ? getTerminalSize() : std::nullopt;
    Page page(terminal && terminal->columns > 0 ? static_cast<size_t>(terminal->columns) : 0, asked.color);
    page.line(titleOf(head.host, from, to, span.intervals()), Tone::Title);
    Interval result;
    span.result(result);
    const ViewRow view;
    showWhy(result, {head, view}, page);
    if (!out.write(page.text()) && errno != EPIPE)
        return failed(std::string("the output takes no more: ") + strerror(errno));
    return status;
}

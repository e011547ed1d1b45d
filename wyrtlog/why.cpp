#include "wyrtlog/why.h"

#include "base/door.h"
#include "base/refusal.h"
#include "view/why.h"
#include "why/span.h"
#include "wyrtlog/hostnames.h"
#include "wyrtlog/intervals.h"
#include "wyrtlog/output.h"

// "db7  2026-11-21T14:05:08.000+01:00 to 2026-11-21T15:05:08.000+01:00  1800 intervals"
static std::string titleOf(const HostNames& hosts, Moment from, Moment to, uint64_t intervals) {
    std::string text = hosts.text() + "  ";
    appendMoment(text, from);
    text += " to ";
    appendMoment(text, to);
    return text + "  " + std::to_string(intervals) + (intervals == 1 ? " interval" : " intervals");
}

int why(const Asked& asked) {
    Bounds bounds;
    if (const auto wrong = takeBounds(asked, bounds); !wrong.empty()) return refused(wrong, "wyrt why --help");
    Output out;
    if (!out.open(asked)) return Failed;
    Span span;
    Limits limits;
    LogHead head;
    HostNames hosts;
    Moment from, to;
    Intervals intervals;
    const int status = intervals.each(asked, bounds, [&](const LogReader& reader, bool changed, Interval& interval) {
        if (changed) {
            head = reader.head();
            hosts.add(head.host);
            limits = Limits();
            limits.set(asked.table.limits ? *asked.table.limits : reader.view().limits);
        }
        if (asked.table.limits || !isJudged(interval)) judge(interval, limits);
        if (span.intervals() == 0) {
            from = interval.time;
            from.epoch_ms -= interval.elapsed_us / 1000;
        }
        to = interval.time;
        span.add(interval);
        return true;
    });
    intervals.reportLeftOut();
    if (span.leftOut() > 0)
        putErr("wyrt: " + std::to_string(span.leftOut()) + " findings that were shorter or less severe are left out\n");
    if (span.intervals() == 0) return status == Done ? failed("there is no interval in this span") : status;
    Page page(out.width(), out.colored());
    page.line(titleOf(hosts, from, to, span.intervals()), Tone::Title);
    Interval result;
    span.result(result);
    const ViewRow view;
    showWhy(result, {head, view}, page);
    out.write(page.text());
    return out.finish(status);
}

#include "wyrtlog/chart.h"

#include "base/door.h"
#include "base/refusal.h"
#include "view/areas.h"
#include "why/findings.h"
#include "wyrtlog/chart/charts.h"
#include "wyrtlog/chart/events.h"
#include "wyrtlog/chart/page.h"
#include "wyrtlog/intervals.h"
#include "wyrtlog/output.h"

#include <algorithm>

// Three bytes each: a page of more than 6 MB is slow to mail and to open.
static constexpr size_t MostValues = 1800000;

int chart(const Asked& asked) {
    Bounds bounds;
    if (const auto wrong = takeBounds(asked, bounds); !wrong.empty()) return refused(wrong, "wyrt chart --help");
    if (asked.output.empty() && isTerminal())
        return refused("a page goes to a file: -o report.html", "wyrt chart --help");
    Charts charts;
    Events events;
    PageContent content;
    Limits limits;
    std::string otherHost;
    Intervals intervals;
    const int status = intervals.each(asked, bounds, [&](const LogReader& reader, bool changed, Interval& interval) {
        if (changed) {
            if (events.intervals() > 0 && reader.head().host != content.head.host) {
                otherHost = reader.head().host;
                return false;
            }
            content.head = reader.head();
            limits = Limits();
            limits.set(asked.table.limits ? *asked.table.limits : reader.view().limits);
        }
        if (asked.table.limits || !isJudged(interval)) judge(interval, limits);
        // No point of a line comes before another one, even where the clock was set back.
        const int64_t time_ms =
            events.intervals() > 0 ? std::max(interval.time.epoch_ms, events.to() + 1) : interval.time.epoch_ms;
        if (const auto* host = interval.host.one()) content.host = *host;
        content.offset_min = interval.time.offset_min;
        content.interval_ms = static_cast<int64_t>(reader.view().interval_us / 1000);
        events.add(interval, time_ms, reader.head().boot, reader.head().run, [&] {
            Page page(0, false);
            showInterval(interval, {reader.head(), reader.view()}, page);
            return page.text();
        });
        charts.add(interval, time_ms);
        return true;
    });
    intervals.reportLeftOut();
    if (!otherHost.empty())
        return failed("the logs are of several hosts: " + inQuotes(content.head.host) + " and " + inQuotes(otherHost) +
                      "; a page shows one");
    const bool empty = events.intervals() == 0;
    if (empty && status != Done) return status;
    content.events = &events;
    content.pictures = charts.pictures(MostValues);
    content.times = charts.times();
    content.disksLeftOut = charts.ofDevices().disksLeftOut();
    content.linksLeftOut = charts.ofDevices().linksLeftOut();
    Output out;
    if (!out.open(asked)) return Failed;
    out.write(pageOf(content));
    const int written = out.finish(status);
    return empty && written == Done ? failed("there is no interval in this span, and nothing in the page") : written;
}

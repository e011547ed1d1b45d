#include "wyrtlog/show.h"

#include "base/refusal.h"
#include "view/areas.h"
#include "why/findings.h"
#include "wyrtlog/intervals.h"
#include "wyrtlog/output.h"

// What the log was shown with, but for what is asked for now.
static ViewRow viewOf(const ViewRow& then, const Asked& asked) {
    ViewRow view = then;
    if (!asked.areas.empty()) view.areas = asked.areas;
    takeTableWords(asked.table, view); // what it refuses was refused with the command line
    return view;
}

int show(const Asked& asked) {
    Output out;
    if (!out.open(asked)) return Failed;
    Intervals intervals;
    ViewRow view;
    std::string wrong;
    int status = intervals.each(asked, {}, [&](const LogReader& reader, bool changed, Interval& interval) {
        if (changed) {
            view = viewOf(reader.view(), asked);
            if (asked.table.sort) wrong = whyUnknown("--sort", view.sort, sortWords(view.areas));
            if (!wrong.empty()) return false;
        }
        // A log that was not made for findings is asked for them now, as is one for which other limits are given.
        if (hasWord(view.areas, "why") && (asked.table.limits || !isJudged(interval))) {
            Limits limits;
            limits.set(view.limits);
            judge(interval, limits);
        }
        Page page(out.width(), out.colored());
        showInterval(interval, {reader.head(), view}, page);
        return out.write(page.text());
    });
    status = out.finish(status); // messages come when the terminal is free again
    if (!wrong.empty()) return refused(wrong, "wyrt show --help");
    intervals.reportLeftOut();
    return intervals.given() == 0 && status == Done ? failed("there is no interval to show") : status;
}

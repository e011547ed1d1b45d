#include "wyrtlog/show.h"

#include "base/duration.h"
#include "base/masking.h"
#include "base/refusal.h"
#include "record/sum.h"
#include "view/areas.h"
#include "view/extremes.h"
#include "why/findings.h"
#include "wyrtlog/intervals.h"
#include "wyrtlog/output.h"

#include <utility>

// What the log was shown with, but for what is asked for now.
static ViewRow viewOf(const ViewRow& then, const Asked& asked) {
    ViewRow view = then;
    if (!asked.areas.empty()) view.areas = asked.areas;
    takeTableWords(asked.table, view); // what it refuses was refused with the command line
    return view;
}

namespace {
// Makes tables of intervals, or of their sums.
class Tables {
    const Asked& asked;
    Output& out;
    LogHead head;
    ViewRow view;
    int64_t every_ms = 0; // 0: each interval by itself
    IntervalSum sum;
    TableExtremes extremes;           // of the intervals in it
    std::pair<int64_t, int16_t> turn; // which span of --every the sum is of

    bool show(Interval& interval);
    std::pair<int64_t, int16_t> turnOf(const Interval& interval) const;

public:
    std::string wrong; // why --sort cannot be used with the log's areas
    Tables(const Asked& words, Output& output, int64_t every_us)
        : asked(words), out(output), every_ms(every_us / 1000) {}
    // False: nobody wants more.
    bool add(const LogReader& reader, bool changed, Interval& interval);
    // What is left to show at the end.
    bool finish();
};
} // namespace

bool Tables::show(Interval& interval) {
    // A log that was not made for findings is asked for them now, as are sums, and one for which other limits are
    // given.
    if (needsFindings(view.areas) && (every_ms > 0 || asked.table.limits || !isJudged(interval))) {
        Limits limits;
        limits.set(view.limits);
        judge(interval, limits);
    }
    Page page(out.width(), out.colored());
    showInterval(interval, {head, view, &extremes}, page);
    return out.write(page.text());
}

// Minutes, hours and days are those of local time. The interval that ends with one belongs to it. When summer time
// ends, the same hour comes twice.
std::pair<int64_t, int16_t> Tables::turnOf(const Interval& interval) const {
    constexpr int64_t MinuteMs = 60000, HourMs = 60 * MinuteMs;
    const int16_t offset_min = interval.time.offset_min;
    const int64_t local = interval.time.epoch_ms + offset_min * MinuteMs - 1;
    return {local / every_ms - (local % every_ms < 0 ? 1 : 0), every_ms <= HourMs ? offset_min : int16_t{0}};
}

bool Tables::finish() {
    if (sum.intervals() == 0) return true;
    const bool good = show(sum.result());
    sum.clear();
    extremes.clear();
    return good;
}

bool Tables::add(const LogReader& reader, bool changed, Interval& interval) {
    if (changed) {
        // Another run counts other things: its intervals are no part of the sum.
        if (reader.head().run != head.run && !finish()) return false;
        head = reader.head();
        view = viewOf(reader.view(), asked);
        if (asked.table.sort) wrong = whyUnknown("--sort", view.sort, sortWords(view.areas));
        if (!wrong.empty()) return false;
    }
    if (every_ms == 0) return show(interval);
    const auto now = turnOf(interval);
    if (now != turn && !finish()) return false;
    turn = now;
    sum.add(interval);
    extremes.add(interval);
    return true;
}

// What --every says. Returns why it cannot be used; empty: it can.
static std::string takeEvery(const Asked& asked, int64_t& every_us) {
    constexpr int64_t Shortest = 1000000;
    if (asked.every.empty()) return {};
    const auto every = parseDuration(asked.every);
    if (!every || *every < Shortest)
        return "--every takes a time of at least a second, like 1m, not " + inQuotes(asked.every);
    every_us = *every;
    return {};
}

static std::string momentText(int64_t epoch_ms, int16_t offset_min) {
    std::string text;
    appendMoment(text, {epoch_ms, offset_min});
    return text;
}

int show(const Asked& asked) {
    Bounds bounds;
    int64_t every_us = 0;
    auto wrong = takeBounds(asked, bounds);
    if (wrong.empty()) wrong = takeEvery(asked, every_us);
    if (!wrong.empty()) return refused(wrong, "wyrt show --help");
    Output out;
    if (!out.open(asked)) return Failed;
    Intervals intervals;
    Tables tables(asked, out, every_us);
    std::string later; // when the next interval begins, where --at finds none
    const auto add = [&](const LogReader& reader, bool changed, Interval& interval) {
        if (asked.at.empty()) return tables.add(reader, changed, interval);
        const int64_t begin_ms = interval.time.epoch_ms - interval.elapsed_us / 1000;
        constexpr int64_t GapMs = 1000; // what two clocks may differ by
        if (begin_ms > bounds.since_ms + GapMs) later = momentText(begin_ms, interval.time.offset_min);
        else tables.add(reader, changed, interval);
        return false;
    };
    int status = intervals.each(asked, bounds, add);
    if (tables.wrong.empty()) tables.finish();
    status = out.finish(status); // messages come when the terminal is free again
    if (!tables.wrong.empty()) return refused(tables.wrong, "wyrt show --help");
    intervals.reportLeftOut();
    if (!later.empty()) return failed("there is no interval of that time; the next one begins at " + later);
    return intervals.given() == 0 && status == Done ? failed("there is no interval to show") : status;
}

#include "wyrtlog/stats.h"

#include "base/nearest.h"
#include "base/refusal.h"
#include "record/interval.h"
#include "view/areas.h"
#include "view/format.h"
#include "wyrtlog/consumers.h"
#include "wyrtlog/intervals.h"
#include "wyrtlog/output.h"
#include "wyrtlog/tally.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {
// The kinds of an area whose figures are worth a summary: those with one record for the machine or for each thing that
// stays.
struct AreaKinds {
    std::string_view area;
    std::array<std::string_view, 2> tags;
    bool usual; // without words
};
} // namespace

// clang-format off
static constexpr AreaKinds Areas[] = {
    {"cpu",      {"CPU", ""},           true },
    {"cores",    {"CORE", ""},          false},
    {"mem",      {"MEM", "NODE"},       true },
    {"pressure", {"PSI", ""},           true },
    {"disk",     {"DISKS", "DISK"},     true },
    {"volumes",  {"VG", ""},            false},
    {"fs",       {"FS", ""},            true },
    {"net",      {"LINKS", "LINK"},     true },
    {"proto",    {"PROTO", ""},         false},
    {"sock",     {"SOCKS", "NETNS"},    false},
    {"limits",   {"LIMIT", ""},         false},
    {"cgroup",   {"CGROUP", "CGROUPS"}, false},
    {"proc",     {"PROCS", ""},         true },
    {"thread",   {"THREADS", ""},       false},
    {"churn",    {"CHURNS", ""},        false},
    {"file",     {"FILES", ""},         false},
    {"self",     {"SELF", ""},          false},
};
// clang-format on

static const AreaKinds* areaOf(std::string_view word) {
    for (auto& area : Areas)
        if (area.area == word) return &area;
    return nullptr;
}

std::string whyNoFigure(std::string_view word) {
    const auto slash = std::min(word.find('/'), word.size());
    const auto* area = areaOf(word.substr(0, slash));
    if (!area) return "there are no figures of " + inQuotes(word.substr(0, slash));
    if (slash == word.size()) return {};
    std::vector<std::string_view> known;
    static const Interval none;
    eachKind(none, [&](const auto& kind, const auto&) {
        if (kind.tag != area->tags[0] && kind.tag != area->tags[1]) return;
        for (auto& member : kind.members)
            if (member.isFigure()) known.push_back(member.name);
    });
    const auto figure = word.substr(slash + 1);
    if (std::find(known.begin(), known.end(), figure) != known.end()) return {};
    return std::string(area->area) + " has no figure " + inQuotes(figure) + "; the nearest is " +
           std::string(nearest(figure, known));
}

// --- What was asked for

// Whether a list of words, "cpu disk/reads", has this field.
static bool isAsked(std::string_view words, const AreaKinds& area, std::string_view field) {
    if (words.empty()) return area.usual;
    while (!words.empty()) {
        const auto word = words.substr(0, words.find(' '));
        words.remove_prefix(std::min(word.size() + 1, words.size()));
        const auto slash = std::min(word.find('/'), word.size());
        if (word.substr(0, slash) == area.area && (slash == word.size() || word.substr(slash + 1) == field))
            return true;
    }
    return false;
}

static bool isWanted(std::string_view words, std::string_view tag, std::string_view field) {
    for (auto& area : Areas)
        if ((tag == area.tags[0] || tag == area.tags[1]) && isAsked(words, area, field)) return true;
    return false;
}

// --- Tables

static std::string valueText(const SheetColumn& column, double value) {
    const bool rate = column.role == Role::Amount;
    const auto end = [&](std::string text) { return rate ? text + "/s" : text; };
    if (column.unit == "us") return rate ? fixedText(value / 1e4, 1) + "%" : fixedText(value / 1e3, 1) + "ms";
    if (column.unit == "B") return end(sizeText(value));
    if (column.unit == "B/s") return sizeText(value) + "/s";
    if (column.unit == "bit/s") return bitsText(value);
    if (column.unit == "%") return fixedText(value, 1) + "%";
    if (column.unit == "s") return spanText(value);
    return end(countText(value));
}

// The day only where the span has several.
static std::string timeText(Moment moment, bool withDay) {
    constexpr size_t Day = 10, Second = 19;
    std::string text;
    appendMoment(text, moment);
    return withDay ? text.substr(0, Day) + " " + text.substr(Day + 1, Second - Day - 1)
                   : text.substr(Day + 1, Second - Day - 1);
}

// The things with the largest shares of all, and how many more there are.
static std::vector<size_t> largest(const Tally::KindTally& kind, size_t most) {
    std::vector<double> all(kind.columns.size()), score(kind.things.size());
    for (auto& thing : kind.things)
        for (const size_t i : kind.used)
            if (kind.columns[i].role == Role::Amount) all[i] += std::max(thing.figures[i].sum, 0.0);
    std::vector<size_t> order(kind.things.size());
    for (size_t t = 0; t < order.size(); t++) {
        order[t] = t;
        for (const size_t i : kind.used)
            if (all[i] > 0) score[t] += std::max(kind.things[t].figures[i].sum, 0.0) / all[i];
    }
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return score[a] > score[b]; });
    if (order.size() > most) order.resize(most);
    return order;
}

static void showKind(const Tally::KindTally& kind, size_t most, bool withDay, Page& page) {
    const Column columns[] = {
        {kind.tag, 12, 0, true }, // the thing
        {"figure", 14, 0, true },
        {"mean",   9,  0, false},
        {"min",    9,  2, false},
        {"p95",    9,  1, false},
        {"max",    9,  0, false},
        {"at",     8,  0, true },
    };
    Table table(columns);
    size_t still = 0;
    const auto order = largest(kind, most);
    for (const size_t t : order) {
        auto& thing = kind.things[t];
        for (const size_t i : kind.used) {
            const auto summary = Tally::summaryOf(kind, thing, i);
            if (!summary) continue;
            if (summary->least == 0 && summary->most == 0) {
                still++;
                continue;
            }
            const auto& column = kind.columns[i];
            table.cell(thing.name);
            table.cell(column.name);
            for (const double value : {summary->mean, summary->least}) table.cell(valueText(column, value));
            table.cell(summary->p95 ? valueText(column, *summary->p95) : std::string(NoValue));
            table.cell(valueText(column, summary->most));
            table.cell(timeText(summary->when, withDay));
        }
    }
    if (table.empty()) return;
    std::string note;
    const auto add = [&](size_t count, std::string_view what) {
        if (count > 0) note += (note.empty() ? "" : ", ") + std::to_string(count) + std::string(what);
    };
    add(kind.things.size() - order.size(), " more (-n)");
    add(still, " figures 0 throughout");
    table.show(page, note.empty() ? "" : "(" + note + ")");
    page.line("");
}

namespace {
// A table of consumers, by the sum of some amounts.
struct Usage {
    std::string_view title;
    std::vector<Used> what;
    bool time; // microseconds; else bytes
};
} // namespace

static uint64_t sumOf(const Consumer& consumer, const Usage& usage) {
    uint64_t sum = 0;
    for (const auto what : usage.what) sum += consumer.of(what);
    return sum;
}

static void showUsage(const Consumers& consumers, const Usage& usage, std::string_view by, size_t most, double seconds,
                      Page& page) {
    std::vector<const Consumer*> order;
    uint64_t all = sumOf(consumers.rest(), usage);
    const uint64_t rest = all;
    for (auto& consumer : consumers.all()) {
        all += sumOf(consumer, usage);
        if (sumOf(consumer, usage) > 0) order.push_back(&consumer);
    }
    if (all == 0) return;
    std::stable_sort(order.begin(), order.end(), [&](auto* a, auto* b) { return sumOf(*a, usage) > sumOf(*b, usage); });
    // Where the log has only the sum of some, each of those that are shown may have a part of it.
    std::vector<Column> columns{
        {usage.title, 9, 0, false},
        {"mean",      9, 1, false},
        {"share",     6, 0, false}
    };
    if (rest) columns.push_back({"at_most", 7, 0, false});
    columns.push_back({by, 12, 0, true});
    Table table(columns);
    const auto row = [&](const std::string& name, uint64_t sum, bool bounded) {
        const auto value = static_cast<double>(sum);
        table.cell(usage.time ? fixedText(value / 1e6, 1) + "s" : sizeText(value));
        table.cell(usage.time ? percentText(value, seconds * 1e6) + "%"
                              : sizeText(seconds > 0 ? value / seconds : 0) + "/s");
        table.cell(percentText(value, static_cast<double>(all)) + "%");
        if (rest)
            table.cell(bounded ? percentText(static_cast<double>(sum + rest), static_cast<double>(all)) + "%"
                               : std::string(NoValue));
        table.cell(name);
    };
    uint64_t others = 0;
    for (size_t i = 0; i < order.size(); i++) {
        if (i < most)
            row(order[i]->name.empty() ? std::string(NoValue) : safeText(order[i]->name), sumOf(*order[i], usage),
                true);
        else others += sumOf(*order[i], usage);
    }
    if (order.size() > most) row("(" + std::to_string(order.size() - most) + " others)", others, true);
    if (rest) row("(without a record of their own)", rest, false);
    table.show(page);
    page.line("");
}

// --- The command

namespace {
struct Work {
    const Asked& asked;
    Sheets sheets;
    Cells cells;
    Stamps stamps;
    Tally tally;
    Consumers consumers;
    bool consuming;

    void head(const LogReader& reader) {
        sheets.takeHead(reader);
        tally.head(sheets, [&](const Sheet& sheet, const SheetColumn& column) {
            return isWanted(asked.areas, sheet.tag, column.name);
        });
        if (consuming) consumers.head(sheets);
    }
    bool line(const Sheet& sheet, std::string_view text) {
        const bool figures = tally.wants(sheet), uses = consuming && consumers.wants(sheet);
        if (!figures && !uses) return true;
        cells.split(text);
        if (!stamps.take(cells)) return false;
        return (!figures || tally.line(sheet, cells, stamps.elapsed_us())) && (!uses || consumers.line(sheet, cells));
    }
    bool lines(std::string_view text) {
        while (!text.empty()) {
            const size_t newline = std::min(text.find('\n'), text.size());
            const auto one = text.substr(0, newline);
            text.remove_prefix(std::min(newline + 1, text.size()));
            const auto* sheet = sheets.find(one.substr(0, one.find(',')));
            if (sheet && !line(*sheet, one) && !asked.damaged) return false;
        }
        return true;
    }
};
} // namespace

int stats(const Asked& asked) {
    constexpr size_t UsualRows = 10;
    Bounds bounds;
    if (const auto wrong = takeBounds(asked, bounds); !wrong.empty()) return refused(wrong, "wyrt stats --help");
    const std::string by = asked.by.empty() ? "command" : asked.by;
    static constexpr std::string_view Ways[] = {"process", "command", "user", "unit", "disk"};
    if (const auto wrong = whyUnknown("--by", by, Ways); !wrong.empty()) return refused(wrong, "wyrt stats --help");
    const bool processes = asked.areas.empty() || hasWord(asked.areas, "proc") || !asked.by.empty();
    ViewRow view;
    takeTableWords(asked.table, view);
    const size_t most = view.rows ? static_cast<size_t>(*view.rows) : UsualRows;
    Output out;
    if (!out.open(asked)) return Failed;
    Work work{asked, Sheets(), {}, {}, {}, Consumers(by), processes};
    Intervals intervals;
    std::string host;
    Moment from, to;
    double seconds = 0;
    const int status = intervals.each(
        asked, bounds,
        [&](const LogReader& reader, bool changed, Interval& interval) {
            if (changed) work.head(reader), host = reader.head().host;
            work.tally.begin(interval), work.consumers.begin();
            const bool good = work.lines(reader.text());
            work.tally.end(good, interval.time), work.consumers.end(good);
            if (!good) return intervals.leaveOut(), true;
            if (seconds == 0) from = {interval.time.epoch_ms - interval.elapsed_us / 1000, interval.time.offset_min};
            seconds += static_cast<double>(interval.elapsed_us) / 1e6;
            to = interval.time;
            return true;
        },
        Want::Lines);
    intervals.reportLeftOut();
    if (intervals.given() == 0) return status == Done ? failed("there is no interval in this span") : status;
    Page page(out.width(), out.colored());
    std::string title = safeText(host) + "  ";
    appendMoment(title, from), title += " to ", appendMoment(title, to);
    title += "  " + std::to_string(intervals.given()) + (intervals.given() == 1 ? " interval" : " intervals");
    page.line(title, Tone::Title);
    page.line("");
    const bool withDay = timeText(from, true).substr(0, 10) != timeText(to, true).substr(0, 10);
    for (auto& area : Areas)
        for (auto& tag : area.tags)
            for (auto& kind : work.tally.all())
                if (kind.tag == tag && !tag.empty() && !kind.used.empty()) showKind(kind, most, withDay, page);
    if (processes && by != "disk")
        showUsage(work.consumers,
                  {
                      "CPU", {Used::Cpu, Used::Children},
                       true
        },
                  by, most, seconds, page);
    if (processes && by != "disk") showUsage(work.consumers, {"WAITED", {Used::Wait}, true}, by, most, seconds, page);
    if (processes) showUsage(work.consumers, {"READ", {Used::Read}, false}, by, most, seconds, page);
    if (processes) showUsage(work.consumers, {"WRITTEN", {Used::Write}, false}, by, most, seconds, page);
    out.write(page.text());
    return out.finish(status);
}

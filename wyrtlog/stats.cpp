#include "wyrtlog/stats.h"

#include "base/nearest.h"
#include "base/numbers.h"
#include "base/refusal.h"
#include "view/areas.h"
#include "view/format.h"
#include "wyrtlog/consumers.h"
#include "wyrtlog/hostnames.h"
#include "wyrtlog/intervals.h"
#include "wyrtlog/output.h"
#include "wyrtlog/statstables.h"
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
    std::vector<SheetColumn> columns;
    for (auto& tag : area->tags)
        for (auto& column : columnsOf(tag))
            if (isFigure(column)) columns.push_back(std::move(column));
    std::vector<std::string_view> known;
    for (auto& column : columns) known.push_back(column.name);
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

// Whether the area is in the list, with one of its figures or with all.
static bool isNamed(std::string_view words, const AreaKinds& area) {
    while (!words.empty()) {
        const auto word = words.substr(0, words.find(' '));
        words.remove_prefix(std::min(word.size() + 1, words.size()));
        if (word.substr(0, word.find('/')) == area.area) return true;
    }
    return false;
}

static bool isWanted(std::string_view words, std::string_view tag, std::string_view field) {
    for (auto& area : Areas)
        if ((tag == area.tags[0] || tag == area.tags[1]) && isAsked(words, area, field)) return true;
    return false;
}

// --- The command

static void showFigures(const Tally& tally, std::string_view words, size_t most, bool withDay, Page& page) {
    for (auto& area : Areas) {
        auto seen = Seen::Nothing;
        std::string tags;
        for (auto& tag : area.tags) {
            if (!tag.empty()) tags.append(tags.empty() ? "" : " and ").append(tag);
            for (auto& kind : tally.all())
                if (kind.tag == tag && !tag.empty() && !kind.used.empty())
                    seen = std::max(seen, showKind(kind, most, withDay, page));
        }
        if (seen == Seen::Table || !isNamed(words, area)) continue;
        page.line(std::string(area.area) + ": " +
                  (seen == Seen::Zeros ? "0 throughout" : "no figures of " + tags + " in this span"));
        page.line("");
    }
}

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
    if (std::find(std::begin(Ways), std::end(Ways), by) == std::end(Ways))
        return refused("--by takes process, command, user, unit or disk, not " + inQuotes(by), "wyrt stats --help");
    const bool processes = asked.areas.empty() || hasWord(asked.areas, "proc") || !asked.by.empty();
    ViewRow view;
    takeTableWords(asked.table, view);
    const size_t most = view.rows ? static_cast<size_t>(*view.rows) : UsualRows;
    Output out;
    if (!out.open(asked)) return Failed;
    Work work{asked, Sheets(), {}, {}, {}, Consumers(by), processes};
    Intervals intervals;
    HostNames hosts;
    Moment from, to;
    double seconds = 0;
    const int status = intervals.each(
        asked, bounds,
        [&](const LogReader& reader, bool changed, Interval& interval) {
            if (changed) work.head(reader), hosts.add(reader.head().host);
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
    std::string title = hosts.text() + "  ";
    appendMoment(title, from), title += " to ", appendMoment(title, to);
    title += "  " + std::to_string(intervals.given()) + (intervals.given() == 1 ? " interval" : " intervals");
    page.line(title, Tone::Title);
    page.line("");
    const bool withDay = needDays(from, to);
    showFigures(work.tally, asked.areas, most, withDay, page);
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

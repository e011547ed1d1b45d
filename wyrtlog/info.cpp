#include "wyrtlog/info.h"

#include "base/refusal.h"
#include "record/moment.h"
#include "view/format.h"
#include "view/page.h"
#include "wyrtlog/hostnames.h"
#include "wyrtlog/logs.h"
#include "wyrtlog/output.h"

#include <algorithm>

namespace {
// The share of a log that each kind takes.
struct KindUse {
    uint64_t records = 0, bytes = 0;
};

// What was counted of all logs together.
struct Holdings {
    LogHead head;
    HostNames hosts;
    uint64_t heads = 0, restarts = 0, damagedHeads = 0;
    std::optional<Moment> first, last; // ends of intervals
    int64_t first_elapsed_us = 0;
    uint64_t intervals = 0, damaged = 0, torn = 0, late = 0, gaps = 0;
    uint64_t gap_ms = 0; // unsigned: a forged log can have gaps beyond any sum
    uint64_t bytes = 0;
    std::map<std::string, KindUse, std::less<>> uses;
};
} // namespace

static void addHead(const LogReader& reader, Holdings& all) {
    auto& head = reader.head();
    if (all.heads++ > 0 && head.run != all.head.run) all.restarts++;
    if (reader.headDamaged()) all.damagedHeads++;
    else all.head = head, all.hosts.add(head.host);
}

// A whole number in a line of a kind; none: it has no such field.
static std::optional<uint64_t> figureIn(std::string_view line, std::string_view kind, std::string_view field,
                                        const LogReader& reader) {
    const auto names = reader.headLines().find(kind);
    if (names == reader.headLines().end()) return {};
    for (auto& name : names->second) {
        const auto cell = line.substr(0, line.find_first_of(",\n"));
        std::optional<uint64_t> value;
        if (name == field) return readCell(cell, value) ? value : std::nullopt;
        line.remove_prefix(std::min(line.size(), cell.size() + 1));
    }
    return {};
}

static bool isLate(std::string_view line, const LogReader& reader) {
    constexpr uint64_t LateUs = 10000; // what nobody would notice
    const auto figure = [&](std::string_view field) { return figureIn(line, SelfKind.tag, field, reader).value_or(0); };
    return figure("late") > LateUs || figure("skipped") > 0;
}

static void addInterval(const Interval& interval, Holdings& all) {
    if (interval.damaged) return void(all.damaged++);
    constexpr int64_t GapMs = 1000; // what two clocks may differ by
    all.intervals++;
    if (!all.first) all.first = interval.time, all.first_elapsed_us = interval.elapsed_us;
    if (all.last) {
        const int64_t missing = interval.time.epoch_ms - interval.elapsed_us / 1000 - all.last->epoch_ms;
        if (missing > GapMs) all.gaps++, all.gap_ms += static_cast<uint64_t>(missing);
    }
    all.last = interval.time;
}

// Counts the records of each kind, those of this program's own cost included, which say whether it was late.
static void addLines(const LogReader& reader, Holdings& all) {
    constexpr size_t MostKinds = 1000; // a forged log must not take memory without end
    for (auto text = reader.text(); !text.empty();) {
        const auto run = takeLineRun(text);
        if (run.tag.starts_with('#')) continue;
        auto use = all.uses.find(run.tag);
        if (use == all.uses.end())
            use = all.uses.emplace(all.uses.size() < MostKinds ? std::string(run.tag) : "others", KindUse{}).first;
        use->second.records += run.count, use->second.bytes += run.lines.size();
        if (run.tag == SelfKind.tag && isLate(run.lines, reader)) all.late++;
    }
}

static std::string momentText(Moment moment) {
    std::string text;
    appendMoment(text, moment);
    return text;
}

static void showSpan(const Asked& asked, const Holdings& all, Page& page) {
    const auto line = [&](std::string_view name, const std::string& value) {
        page.line(std::string(name) + std::string(12 - name.size(), ' ') + value);
    };
    const auto number = [](uint64_t value) { return std::to_string(value); };
    line("host", all.hosts.text());
    line("program", "wyrt " + safeText(all.head.version));
    if (all.first) {
        Moment from = *all.first;
        from.epoch_ms -= all.first_elapsed_us / 1000;
        line("from", momentText(from));
        line("to", momentText(*all.last));
        line("span", spanText(static_cast<double>(all.last->epoch_ms - from.epoch_ms) / 1000));
    }
    line("intervals", number(all.intervals));
    line("gaps",
         number(all.gaps) + (all.gaps ? ", " + spanText(static_cast<double>(all.gap_ms) / 1000) + " in all" : ""));
    line("restarts", number(all.restarts));
    const char* doubt = asked.check ? "" : " by their lengths; --check verifies the checksums";
    line("damaged", number(all.damaged + all.damagedHeads) + (all.torn ? ", and the end is cut short" : "") +
                        (all.damagedHeads ? ", " + number(all.damagedHeads) + " of them heads" : "") + doubt);
    line("late", number(all.late));
    line("bytes", number(all.bytes));
}

static void showKinds(const Holdings& all, Page& page) {
    static constexpr Column Columns[] = {
        {"KIND",    12, 0, true },
        {"records", 10, 0, false},
        {"bytes",   12, 0, false},
    };
    std::vector<std::pair<std::string_view, KindUse>> kinds(all.uses.begin(), all.uses.end());
    std::sort(kinds.begin(), kinds.end(), [](auto& a, auto& b) {
        return a.second.bytes != b.second.bytes ? a.second.bytes > b.second.bytes : a.first < b.first;
    });
    Table table(Columns);
    for (auto& [name, use] : kinds) {
        table.cell(safeText(name));
        table.cell(std::to_string(use.records));
        table.cell(std::to_string(use.bytes));
    }
    if (table.empty()) return;
    page.line("");
    table.show(page);
}

int info(const Asked& asked) {
    Output out;
    if (!out.open(asked)) return Failed;
    Holdings all;
    const auto add = [&](const LogReader& reader, LogReader::Found found, Interval& interval) {
        if (found == LogReader::Found::Head) addHead(reader, all);
        if (found == LogReader::Found::Interval) addInterval(interval, all);
        if (found == LogReader::Found::Torn) all.torn++;
        if (found != LogReader::Found::End) addLines(reader, all);
        if (found == LogReader::Found::Torn || found == LogReader::Found::End) all.bytes += reader.bytesRead();
        return true;
    };
    const int status = eachFound(asked, add, {Want::Lines, {}, false, asked.check ? Check::Sums : Check::Lengths});
    if (all.heads == 0) return status == Done ? failed("this is no log of wyrt") : status;
    Page page(0, false);
    showSpan(asked, all, page);
    showKinds(all, page);
    out.write(page.text());
    return out.finish(status);
}

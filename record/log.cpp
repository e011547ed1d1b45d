#include "record/log.h"

#include "base/numbers.h"
#include "record/crc.h"
#include "record/fitting.h"

#include <algorithm>
#include <cstdio>
#include <utility>

// --- Writing

static void appendStart(std::string& out, std::string_view tag, Moment time, int64_t elapsed_us) {
    out += tag, out += ',';
    appendMoment(out, time), out += ',';
    appendSeconds(out, elapsed_us);
}

template <typename Kind> static void appendHeader(const Kind& kind, std::string& out) {
    out += '#', out += kind.tag, out += ",time,secs";
    for (auto& member : kind.members) out += ',', out += member.name;
    out += "\n#", out += kind.tag, out += ":role,time,elapsed:s";
    for (auto& member : kind.members) {
        constexpr std::string_view Names[] = {"time", "elapsed", "id", "text", "amount", "level"};
        out += ',', out += Names[static_cast<size_t>(member.role)];
        if (!member.unit.empty()) out += ':', out += member.unit;
    }
    out += '\n';
}

static size_t countLines(std::string_view text) {
    size_t lines = 0;
    for (const char c : text) lines += c == '\n' ? 1 : 0;
    return lines;
}

void LogWriter::end(Moment time, int64_t elapsed_us, size_t from, uint64_t interval, std::string& out) const {
    const size_t bytes = out.size() - from, records = countLines(std::string_view(out).substr(from));
    appendStart(out, "END", time, elapsed_us);
    for (const uint64_t figure : {interval, uint64_t{records}, uint64_t{bytes}}) out += ',', appendCell(out, figure);
    out += ',';
    char sum[9];
    snprintf(sum, sizeof sum, "%08x", crc32c(std::string_view(out).substr(from)));
    out += sum, out += '\n';
}

void LogWriter::head(const LogHead& head, const ViewRow& view, Moment time, std::string& out) {
    const size_t from = out.size();
    out += "#wyrt,", appendCell(out, LogFormat);
    for (auto* text : {&head.version, &head.host, &head.boot, &head.run}) out += ',', escape(*text, out);
    out += '\n';
    appendHeader(ViewKind, out);
    static const Interval none;
    eachKind(none, [&](const auto& kind, const auto&) { appendHeader(kind, out); });
    out += "#END,time,secs,interval,records,bytes,crc32c\n";
    appendStart(out, ViewKind.tag, time, 0);
    appendCells(out, ViewKind, view);
    out += '\n';
    end(time, 0, from, 0, out);
}

void LogWriter::interval(const Interval& interval, std::string& out) {
    const size_t from = out.size();
    eachKind(interval, [&](const auto& kind, const auto& rows) {
        const auto line = [&](const auto& row, bool identity) {
            appendStart(out, kind.tag, interval.time, rows.elapsed_us);
            appendCells(out, kind, row, identity);
            out += '\n';
        };
        for (auto& row : rows.rows) line(row, true);
        if (rows.rest) line(*rows.rest, false);
    });
    end(interval.time, interval.elapsed_us, from, interval.number, out);
}

// --- Reading a head

static std::vector<std::string_view> cellsOf(std::string_view line) {
    std::vector<std::string_view> cells;
    do cells.push_back(takeCell(line));
    while (!line.empty());
    return cells;
}

// "#wyrt,2,..." and "#KIND,time,secs,..."
void LogReader::takeHeadLine(std::string_view line, size_t& cells) {
    constexpr size_t MostCells = 50000; // a forged head must not take memory without end
    const auto words = cellsOf(line);
    const auto tag = words[0].substr(1);
    if (tag == "wyrt") {
        logHead = {}, logView = {};
        headers.clear();
        size_t i = 2; // after the format
        for (auto* text : {&logHead.version, &logHead.host, &logHead.boot, &logHead.run}) {
            if (!readCell(i < words.size() ? words[i] : "", *text)) badHead = true;
            i++;
        }
    } else if ((cells += words.size()) <= MostCells) {
        headers[std::string(tag)].assign(words.begin(), words.end());
    } else {
        badHead = true;
    }
}

// Where each member of a kind is in the lines of this log. Mostly they are in the kind's own order.
template <typename Kind> std::vector<size_t> LogReader::placesIn(const Kind& kind) const {
    std::vector<size_t> places(kind.members.size(), NoCell);
    const auto known = headers.find(kind.tag);
    if (known == headers.end()) return places;
    const auto& names = known->second;
    for (size_t i = 0; i < places.size(); i++) {
        const size_t usual = i + RowPlan::FirstCell;
        if (usual < names.size() && names[usual] == kind.members[i].name) places[i] = usual;
        else if (auto at = std::find(names.begin(), names.end(), kind.members[i].name); at != names.end())
            places[i] = static_cast<size_t>(at - names.begin());
    }
    return places;
}

bool LogReader::takeView(std::string_view line) {
    return readCells(cellsOf(line), ViewKind, placesIn(ViewKind), logView) != RowRead::Damaged;
}

void LogReader::takeHead() {
    badHead = !frame.good;
    size_t cells = 0;
    auto text = frame.text;
    for (std::string_view line; takeLine(text, line);) {
        if (line.starts_with('#')) takeHeadLine(line, cells);
        else if (line.starts_with(ViewKind.tag) && !takeView(line)) badHead = true;
    }
    plans.clear();
    static const Interval none;
    eachKind(none, [&](const auto& kind, const auto&) { plans.emplace_back(kind, placesIn(kind)); });
}

// --- Reading an interval

namespace {
// Lines on their way into rows of a kind.
struct Lines {
    std::string_view text; // what is left
    bool good = true;      // all fitted their kind
    int64_t elapsed_us = 0;
    std::string_view secs; // as they were read last: those of a run are all alike
};
} // namespace

static void takeSeconds(std::string_view secs, Lines& lines) {
    if (secs == lines.secs && !secs.empty()) return;
    const auto elapsed = parseSeconds(secs);
    if (elapsed) lines.elapsed_us = *elapsed, lines.secs = secs;
    else lines.good = false;
}

// Reads lines into rows of so many bytes from `row` on, up to the line of `rest` or the last. Returns how many rows it
// filled; of these, `isRest` says that the last is that one.
static size_t readRows(Lines& lines, const RowPlan& plan, std::byte* row, size_t bytes, const void* none,
                       bool& isRest) {
    isRest = false;
    size_t count = 0;
    for (std::string_view line; !isRest && takeLine(lines.text, line); count++, row += bytes) {
        takeCell(line), takeCell(line); // kind and time
        takeSeconds(takeCell(line), lines);
        const auto result = plan.read(line, row, none);
        lines.good &= result != RowRead::Damaged;
        isRest = result == RowRead::Rest;
    }
    return count;
}

// Reads the lines of one kind. False: one does not fit it, or they are too many.
bool LogReader::takeRows(const LineRun& run, Interval& interval) {
    Lines lines;
    lines.text = run.lines;
    size_t index = 0;
    eachKind(interval, [&](const auto& kind, auto& rows) {
        using Row = typename std::remove_reference_t<decltype(rows)>::Row;
        const size_t mine = index++;
        if (kind.tag != run.tag || mine >= plans.size()) return;
        static const Row none{};
        auto& used = filled[mine];
        rowBytes += run.count * sizeof(Row) + run.lines.size();
        if (rowBytes > MostRowBytes) return void(lines.good = false);
        const size_t needed = used + run.count;
        // In a forged log kinds can take turns line by line, so the room grows by a part of what there is already.
        if (needed > rows.rows.capacity()) rows.rows.reserve(std::max(needed, used + used / 8));
        if (needed > rows.rows.size()) rows.rows.resize(needed);
        lines.elapsed_us = rows.elapsed_us;
        while (!lines.text.empty()) {
            bool isRest = false;
            auto* first = reinterpret_cast<std::byte*>(rows.rows.data() + used);
            used += readRows(lines, plans[mine], first, sizeof(Row), &none, isRest);
            if (isRest) rows.rest = std::move(rows.rows[--used]);
        }
        rows.elapsed_us = lines.elapsed_us;
        rows.sampled = true;
    });
    return lines.good;
}

// Reads the lines of an interval. False: a line does not fit its kind.
bool LogReader::takeLines(Interval& interval) {
    constexpr size_t MuchUnused = size_t{1} << 20;
    bool good = true;
    rowBytes = 0;
    filled.assign(plans.size(), 0);
    eachKind(interval, [](const auto&, auto& rows) { rows.sampled = false, rows.elapsed_us = 0, rows.rest.reset(); });
    for (auto text = frame.text; !text.empty();) {
        const auto run = takeLineRun(text);
        if (!run.tag.starts_with('#') && !takeRows(run, interval)) good = false;
    }
    size_t index = 0;
    eachKind(interval, [&](const auto&, auto& rows) {
        using Row = typename std::remove_reference_t<decltype(rows)>::Row;
        const size_t used = index < filled.size() ? filled[index] : 0;
        index++;
        rows.rows.resize(used);
        if (used == 0 && rows.rows.capacity() * sizeof(Row) > MuchUnused) rows.rows = {};
    });
    return good;
}

LogReader::Found LogReader::next(Interval& interval) {
    for (;;) {
        const auto found = frames.next(frame);
        if (found == LogFrames::Found::End) return Found::End;
        if (found == LogFrames::Found::Frame && frame.isHead) return takeHead(), Found::Head;
        if (endsAfter && frame.good && frame.ending.time.epoch_ms > bounds.until_ms) return Found::End;
        if (frame.dated && !bounds.has(frame.ending.time)) continue;
        interval.time = frame.ending.time;
        interval.elapsed_us = frame.ending.elapsed_us;
        interval.number = frame.ending.number;
        if (!wantRows) clearRows(interval);
        const bool readable = !wantRows || takeLines(interval);
        interval.damaged = !frame.good || !readable;
        return found == LogFrames::Found::Torn ? Found::Torn : Found::Interval;
    }
}

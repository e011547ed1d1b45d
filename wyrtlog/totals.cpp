#include "wyrtlog/totals.h"

#include "record/crc.h"
#include "record/escape.h"
#include "wyrtlog/cells.h"

#include <cstdio>

static constexpr std::string_view First = "#wyrt-totals,1,";

// --- To text

static void addCell(std::string& line, std::string_view text) {
    line += ',';
    escape(text, line);
}
template <typename Number> static void addNumber(std::string& line, Number number) {
    line += ',';
    line += std::to_string(number);
}

static void addRun(std::string& text, const SeenRun& run) {
    text += "RUN";
    addCell(text, run.run), addNumber(text, run.newest_ms);
    for (auto& span : run.numbers) addNumber(text, span.first), text += '-', text += std::to_string(span.last);
    text += '\n';
}

static std::string hexadecimal(uint32_t sum) {
    char digits[16];
    snprintf(digits, sizeof digits, "%08x", sum);
    return digits;
}

TotalsText::TotalsText(std::string_view of) : text(First) {
    escape(of, text);
    text += '\n';
}

void TotalsText::add(const SavedHost& host) {
    lines += 1 + host.runs.size();
    text += "HOST";
    addCell(text, host.name), addNumber(text, host.time_ms), addNumber(text, host.over_ms);
    text += '\n';
    for (auto& run : host.runs) addRun(text, run);
}

void TotalsText::add(const SavedThing& thing) {
    lines++;
    text += "THING";
    addCell(text, thing.tag), addNumber(text, thing.host), text += thing.info ? ",1" : thing.alive ? ",0" : ",2";
    addNumber(text, thing.last_ms), addNumber(text, thing.seen_ms);
    addCell(text, thing.key), addCell(text, thing.of);
    for (auto& [name, total] : thing.totals) addCell(text, name), text += '=', text += std::to_string(total);
    text += '\n';
}

std::string TotalsText::finish() {
    text += "END," + std::to_string(lines);
    const auto sum = hexadecimal(crc32c(text));
    text.append(",").append(sum).append("\n");
    return std::move(text);
}

std::string totalsText(const Totals& totals) {
    TotalsText text(totals.of);
    for (auto& host : totals.hosts) text.add(host);
    for (auto& thing : totals.things) text.add(thing);
    return text.finish();
}

// --- And back

static bool takeText(std::string_view cell, std::string& to) { return unescape(cell, to); }
template <typename Number> static bool takeNumber(std::string_view cell, Number& to) {
    if constexpr (std::is_signed_v<Number>) {
        const auto number = signedOf(cell);
        return number && (to = *number, true);
    } else {
        const auto number = wholeOf(cell);
        return number && (to = *number, true);
    }
}

// A time that can be subtracted from any of a log.
static bool takeTime(std::string_view cell, int64_t& to) {
    return takeNumber(cell, to) && to >= INT64_MIN / 2 && to <= INT64_MAX / 2;
}

static bool takeHost(const Cells& cells, Totals& totals) {
    auto& host = totals.hosts.emplace_back();
    return cells.size() == 4 && takeText(cells[1], host.name) && takeTime(cells[2], host.time_ms) &&
           takeTime(cells[3], host.over_ms);
}

// Spans as SeenRun keeps them.
static bool takeSpan(std::string_view cell, std::vector<SeenRun::Span>& to) {
    const size_t dash = cell.find('-');
    SeenRun::Span span;
    if (dash == cell.npos || !takeNumber(cell.substr(0, dash), span.first) ||
        !takeNumber(cell.substr(dash + 1), span.last) || span.last < span.first)
        return false;
    if (!to.empty() && (span.first <= to.back().last || span.first - to.back().last == 1)) return false;
    to.push_back(span);
    return true;
}

static bool takeRun(const Cells& cells, Totals& totals) {
    constexpr size_t FirstSpan = 3;
    if (totals.hosts.empty() || totals.hosts.back().runs.size() == MostRuns || cells.size() <= FirstSpan ||
        cells.size() > FirstSpan + SeenRun::MostSpans)
        return false;
    auto& run = totals.hosts.back().runs.emplace_back();
    if (!takeText(cells[1], run.run) || !takeTime(cells[2], run.newest_ms)) return false;
    for (size_t i = FirstSpan; i < cells.size(); i++)
        if (!takeSpan(cells[i], run.numbers)) return false;
    return true;
}

static bool takeThing(const Cells& cells, Totals& totals) {
    constexpr size_t FirstTotal = 8;
    auto& thing = totals.things.emplace_back();
    if (cells.size() < FirstTotal || !takeText(cells[1], thing.tag) || !takeNumber(cells[2], thing.host) ||
        thing.host >= totals.hosts.size() || !takeTime(cells[4], thing.last_ms) || !takeTime(cells[5], thing.seen_ms) ||
        !takeText(cells[6], thing.key) || !takeText(cells[7], thing.of))
        return false;
    thing.info = cells[3] == "1", thing.alive = cells[3] != "2";
    for (size_t i = FirstTotal; i < cells.size(); i++) {
        const size_t equals = cells[i].rfind('='); // no number has one
        auto& [name, total] = thing.totals.emplace_back();
        if (equals == std::string_view::npos || !takeText(cells[i].substr(0, equals), name) ||
            !takeNumber(cells[i].substr(equals + 1), total))
            return false;
    }
    return true;
}

static bool takeLine(const Cells& cells, Totals& totals) {
    if (cells[0] == "HOST") return takeHost(cells, totals);
    if (cells[0] == "RUN") return takeRun(cells, totals);
    return cells[0] == "THING" && takeThing(cells, totals);
}

std::optional<Totals> parseTotals(std::string_view text) {
    if (text.size() > LongestTotals || !text.starts_with(First) || !text.ends_with('\n')) return {};
    const size_t end = text.rfind("\nEND,");
    if (end == text.npos) return {};
    Totals totals;
    Cells cells;
    const auto last = text.substr(end + 1, text.size() - end - 2);
    const auto sealed = text.substr(0, text.rfind(','));
    cells.split(last);
    if (cells.size() != 3 || cells[2] != hexadecimal(crc32c(sealed))) return {};
    auto lines = text.substr(0, end + 1);
    size_t count = 0;
    const size_t firstEnd = lines.find('\n');
    if (!takeText(lines.substr(First.size(), firstEnd - First.size()), totals.of)) return {};
    for (lines.remove_prefix(firstEnd + 1); !lines.empty(); lines.remove_prefix(lines.find('\n') + 1)) {
        cells.split(lines.substr(0, lines.find('\n')));
        if (!takeLine(cells, totals)) return {};
        count++;
    }
    cells.split(last);
    if (wholeOf(cells[1]) != count) return {};
    return totals;
}

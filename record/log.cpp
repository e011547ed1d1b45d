#include "record/log.h"

#include "record/crc.h"

#include <charconv>
#include <cstdio>

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

// --- Reading

static constexpr size_t Chunk = size_t{1} << 16;
static constexpr size_t MostInterval = size_t{1} << 28; // a larger one counts as damage and is skipped piece by piece

// False at the end of the log.
bool LogReader::fill() {
    if (atEnd) return false;
    if (begin > 0) {
        buffer.erase(0, begin);
        scanned -= begin, begin = 0;
    }
    const size_t size = buffer.size();
    buffer.resize(size + Chunk);
    const size_t n = read(buffer.data() + size, Chunk);
    buffer.resize(size + n);
    atEnd = n == 0;
    total += n;
    return n > 0;
}

// The next line, without its newline. False: the log has no further whole line.
bool LogReader::nextLine(std::string_view& line) {
    size_t from = scanned, newline = 0;
    while ((newline = buffer.find('\n', from)) == buffer.npos) {
        const size_t known = buffer.size() - begin; // the part that has been searched already
        if (!fill()) return false;
        from = begin + known;
    }
    line = std::string_view(buffer).substr(scanned, newline - scanned);
    scanned = newline + 1;
    return true;
}

void LogReader::split(std::string_view line) {
    cells.clear();
    for (size_t start = 0;;) {
        const auto comma = line.find(',', start);
        cells.push_back(line.substr(start, comma == line.npos ? comma : comma - start));
        if (comma == line.npos) return;
        start = comma + 1;
    }
}

template <typename T> static bool readWhole(std::string_view cell, T& value, int base = 10) {
    const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), value, base);
    return error == std::errc() && end == cell.data() + cell.size() && !cell.empty();
}

bool LogReader::parseEnding(std::string_view line, Ending& ending) {
    split(line);
    if (cells.size() < 7) return false;
    const auto time = parseMoment(cells[1]);
    const auto elapsed = parseSeconds(cells[2]);
    const auto sum = cells[6];
    if (!time || !elapsed || sum.size() != 8 || sum.find_first_not_of("0123456789abcdef") != sum.npos ||
        !readWhole(cells[3], ending.number) || !readWhole(cells[4], ending.records) ||
        !readWhole(cells[5], ending.bytes) || !readWhole(sum, ending.sum, 16))
        return false;
    ending.time = *time, ending.elapsed_us = *elapsed;
    ending.upToSum = static_cast<size_t>(sum.data() - line.data());
    return true;
}

void LogReader::setPlaces() {
    places.clear();
    static const Interval none;
    const auto add = [&](const auto& kind) {
        const auto known = headers.find(kind.tag);
        std::vector<std::string_view> names;
        if (known != headers.end()) names.assign(known->second.begin(), known->second.end());
        places.push_back(placesOf(kind, names));
    };
    eachKind(none, [&](const auto& kind, const auto&) { add(kind); });
    add(ViewKind);
}

// "#wyrt,2,..." and "#KIND,time,secs,...": cells[0] is the first word.
void LogReader::takeHeadLine() {
    const auto tag = cells[0].substr(1);
    if (tag == "wyrt") {
        logHead = {}, logView = {};
        headers.clear();
        const auto cell = [&](size_t i) { return i < cells.size() ? cells[i] : std::string_view{}; };
        size_t i = 2;
        for (auto* text : {&logHead.version, &logHead.host, &logHead.boot, &logHead.run})
            if (!readCell(cell(i++), *text)) badHead = true;
    } else {
        headers[std::string(tag)].assign(cells.begin(), cells.end());
    }
}

// Reads the lines of one interval or head. False: a line does not fit its kind.
bool LogReader::takeLines(std::string_view text, Interval& interval, bool isHead) {
    bool good = true;
    if (isHead) badHead = false;
    for (size_t at = 0; at < text.size();) {
        auto newline = text.find('\n', at);
        if (newline == text.npos) newline = text.size();
        const auto line = text.substr(at, newline - at);
        at = newline + 1;
        if (line.empty()) continue;
        split(line);
        if (line[0] == '#') {
            if (isHead) takeHeadLine();
            continue;
        }
        auto use = kindUses.find(cells[0]);
        if (use == kindUses.end()) use = kindUses.emplace(std::string(cells[0]), KindUse{}).first;
        use->second.records++, use->second.bytes += line.size() + 1;
        if (isHead && cells[0] == ViewKind.tag) {
            setPlaces();
            if (readCells(cells, ViewKind, places.back(), logView) == RowRead::Damaged) good = false;
            continue;
        }
        size_t kindIndex = 0;
        eachKind(interval, [&](const auto& kind, auto& rows) {
            const size_t mine = kindIndex++;
            if (cells[0] != kind.tag || mine >= places.size()) return;
            auto& row = rows.rows.emplace_back();
            const auto result = readCells(cells, kind, places[mine], row);
            const auto elapsed = cells.size() > 2 ? parseSeconds(cells[2]) : std::nullopt;
            if (elapsed) rows.elapsed_us = *elapsed;
            rows.sampled = true;
            if (result == RowRead::Damaged || !elapsed) good = false;
            if (result == RowRead::Rest) {
                rows.rest = std::move(row);
                rows.rows.pop_back();
            }
        });
    }
    if (isHead) setPlaces();
    return good;
}

// The text from `from` to `to` in the buffer is one interval, or a head, or rubbish.
LogReader::Found LogReader::finish(size_t from, size_t to, const Ending* ending, bool good, Interval& interval) {
    clearRows(interval);
    interval.time = ending ? ending->time : Moment{};
    interval.elapsed_us = ending ? ending->elapsed_us : 0;
    interval.number = ending ? ending->number : 0;
    const auto text = std::string_view(buffer).substr(from, to - from);
    textFrom = from, textSize = text.size();
    // A damaged head may have lost its first line.
    const bool isHead = text.starts_with("#wyrt,") || (!good && text.find("\n#") != text.npos);
    const bool readable = (!isHead && !wantRows) || takeLines(text, interval, isHead);
    begin = scanned;
    if (isHead) {
        badHead = badHead || !good || !readable;
        return Found::Head;
    }
    interval.damaged = !good || !readable;
    return Found::Interval;
}

LogReader::Found LogReader::next(Interval& interval) {
    for (std::string_view line;;) {
        if (!nextLine(line)) break;
        const size_t start = scanned - line.size() - 1;
        if (!line.starts_with("END,")) {
            if (scanned - begin > MostInterval) return finish(begin, scanned, nullptr, false, interval);
            continue;
        }
        Ending ending;
        if (!parseEnding(line, ending)) return finish(begin, start, nullptr, false, interval);
        const auto sumFrom = [&](size_t from) {
            return crc32c(std::string_view(buffer).substr(from, start + ending.upToSum - from)) == ending.sum;
        };
        if (ending.bytes == start - begin && sumFrom(begin)) return finish(begin, start, &ending, true, interval);
        if (ending.bytes < start - begin && sumFrom(start - ending.bytes)) {
            // The END of the previous interval is missing: the text before this one is damaged, this one is whole. The
            // next call finds it again.
            const size_t own = start - ending.bytes;
            scanned = own;
            return finish(begin, own, nullptr, false, interval);
        }
        return finish(begin, start, &ending, false, interval);
    }
    if (begin == buffer.size()) return Found::End;
    finish(begin, buffer.size(), nullptr, false, interval);
    begin = scanned = buffer.size();
    return Found::Torn;
}

#include "wyrtlog/classiclog.h"

#include "record/classic/kinds.h"
#include "record/escape.h"

#include <algorithm>

bool isClassicLog(std::string_view start) {
    return !start.starts_with("#wyrt,") && (start.starts_with("^") || start.find("\n^") != start.npos);
}

// --- Sheets

static std::string nameOf(std::string_view word, bool capitals) {
    std::string name;
    for (char c : word) {
        if (c >= 'a' && c <= 'z' && capitals) c = static_cast<char>(c - 'a' + 'A');
        if (c >= 'A' && c <= 'Z' && !capitals) c = static_cast<char>(c - 'A' + 'a');
        const bool fits = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
        if (fits) name += c;
        else if (!name.empty() && name.back() != '_') name += '_';
    }
    while (name.ends_with('_')) name.pop_back();
    return name;
}

static Cast castOf(const Field& field) {
    switch (field.form) {
    case Form::Text:
    case Form::Escaped:
    case Form::Letter:
    case Form::Hex7: // it is an address
        return Cast::Text;
    case Form::Real:
    case Form::Real0:
    case Form::Real1:
    case Form::Real2:
    case Form::Real6:
        return Cast::Real;
    default:
        return Cast::Whole;
    }
}

static Sheet sheetOf(const Kind& kind) {
    Sheet sheet;
    sheet.tag = nameOf(kind.tag, true);
    sheet.all = {
        {"host", Role::Text, "", Cast::Host},
        {"time", Role::Time, "", Cast::Moment, false, Range::Any, TimePlace},
        {"secs", Role::Elapsed, "s", Cast::Seconds, false, Range::Any, SecondsPlace}
    };
    size_t place = FirstPlace;
    for (auto& field : kind.fields) {
        std::string name = nameOf(field.name, false);
        const auto isTaken = [&] {
            return name == "interval" || name == "record" ||
                   std::any_of(sheet.all.begin(), sheet.all.end(), [&](auto& column) { return column.name == name; });
        };
        while (isTaken()) name = "classic_" + name;
        sheet.all.push_back({name, field.role, std::string(field.unit), castOf(field), false, Range::Any, place++});
    }
    return sheet;
}

std::vector<Sheet> classicSheets() {
    std::vector<Sheet> sheets;
    for (const auto* kind : classic::Kinds) sheets.push_back(sheetOf(*kind));
    return sheets;
}

// --- Records

ClassicLog::ClassicLog() {
    for (const auto* kind : classic::Kinds) tags.emplace(kind, nameOf(kind->tag, true));
}

void ClassicLog::addRow() {
    constexpr size_t Most = size_t{64} << 20; // of one interval; beyond, its records are damage
    if (rows.size() > Most) return void(damagedPieces++);
    rows += tags[record.kind];
    rows += '\0';
    for (size_t i = 0; i < record.texts.size(); i++) {
        rows += ',';
        const auto text = record.texts[i];
        // Not-a-number is no value.
        if (castOf(record.kind->fields[i]) == Cast::Text || realOf(text)) escape(text, rows);
    }
    rows += '\n';
}

// Gives the lines of the interval at hand.
bool ClassicLog::close(const OnInterval& onInterval) {
    std::string stamp;
    appendMoment(stamp, time), stamp += ',';
    appendSeconds(stamp, elapsed_us);
    lines.clear();
    for (std::string_view rest = rows; !rest.empty();) {
        const auto line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(line.size() + 1);
        const auto tag = line.substr(0, line.find('\0'));
        lines.append(tag).append(",").append(stamp).append(line.substr(tag.size() + 1)).append("\n");
    }
    rows.clear();
    return lines.empty() || onInterval(time, elapsed_us, number, lines);
}

// Records before the first TIME are part of its interval.
bool ClassicLog::take(std::string_view piece, const OnInterval& onInterval) {
    const auto found = classic::readPiece(piece, record);
    if (found == classic::Piece::Damaged) damagedPieces++;
    if (found != classic::Piece::Record) return true;
    if (record.kind == &classic::HostnameKind && !record.texts.empty()) hostName = record.texts[0];
    if (record.kind == &classic::TimeKind) {
        const auto seconds = signedOf(record.texts[0]), count = signedOf(record.texts[1]),
                   ms = signedOf(record.texts[3]);
        if (timed && !close(onInterval)) return false;
        const int64_t now = seconds.value_or(0) * 1000 + ms.value_or(0);
        elapsed_us = timed ? std::max<int64_t>(now - time.epoch_ms, 0) * 1000 : 0;
        time = {now, 0};
        number = static_cast<uint64_t>(std::max<int64_t>(count.value_or(0), 0));
        timed = true;
    }
    addRow();
    return true;
}

bool ClassicLog::read(const Read& source, const OnInterval& onInterval) {
    constexpr size_t Piece = size_t{1} << 16, Longest = size_t{1} << 20;
    std::string buffer;
    for (bool ended = false; !ended;) {
        const size_t size = buffer.size();
        buffer.resize(size + Piece);
        const size_t n = source(buffer.data() + size, Piece);
        buffer.resize(size + n);
        ended = n == 0;
        std::string_view rest = buffer;
        for (std::string_view piece; !rest.empty();) {
            auto after = rest;
            classic::nextPiece(after, piece);
            // What reaches the end of what is known may go on; the line that shows its end is not there yet.
            if (after.find('\n') == after.npos && !ended && rest.size() < Longest) break;
            rest = after;
            if (!take(piece, onInterval)) return false;
        }
        buffer.erase(0, buffer.size() - rest.size());
    }
    return close(onInterval);
}

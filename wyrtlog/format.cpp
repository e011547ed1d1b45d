#include "wyrtlog/format.h"

#include "base/refusal.h"
#include "record/moment.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

// --- Bytes

char* Bytes::more(size_t size) {
    constexpr size_t Slack = 32; // of put()
    const size_t need = used + size + Slack;
    if (need > room) {
        room = std::max(need, room * 2);
        auto larger = std::make_unique_for_overwrite<char[]>(room);
        if (used) memcpy(larger.get(), bytes.get(), used);
        bytes = std::move(larger);
    }
    return bytes.get() + used;
}

void Bytes::append(std::string_view text) { putUpTo(put(more(text.size()), text)); }

// --- Stamps

bool Stamps::takeTime(std::string_view cell) {
    if (cell == time) return true;
    const auto read = parseMoment(cell);
    if (!read) return false;
    time = cell, when = *read;
    return true;
}

bool Stamps::takeSeconds(std::string_view cell) {
    if (cell == seconds) return true;
    const auto read = parseSeconds(cell);
    if (!read || !isPlainNumber(cell)) return false;
    seconds = cell, elapsed = *read;
    return true;
}

// --- Text

bool TextFormat::head(const LogHead& head, const Sheets& sheets) {
    host.clear();
    appendValid(head.host, host);
    prepare(sheets);
    return true;
}

TextFormat::Part* TextFormat::partOf(const Sheet& sheet) {
    const size_t number = out ? 0 : sheet.number;
    if (parts.size() <= number) parts.resize(number + 1);
    auto& part = parts[number];
    if (part) return part.get();
    part = std::make_unique<Part>();
    if (out) return part.get();
    const auto path = folder + sheet.tag + suffix;
    if (!part->own.open(path, OutFile::How::New)) why = inQuotes(path) + ": " + strerror(errno);
    return part.get();
}

bool TextFormat::begin(const Interval&) {
    begunNow.clear();
    return true;
}

bool TextFormat::line(const Sheet& sheet, const Cells& cells, std::string_view text) {
    if (!stamps.take(cells)) return false;
    auto* part = partOf(sheet);
    if (begun.size() <= sheet.number) begun.resize(sheet.number + 1);
    if (!begun[sheet.number]) {
        begun[sheet.number] = 1;
        begunNow.push_back(sheet.number);
        header(sheet, part->bytes);
    }
    return record(sheet, cells, text, part->bytes);
}

bool TextFormat::flush(Part& part) {
    if (!why.empty()) return false;
    if (out ? !out->write(part.bytes.text()) : !part.own.write(part.bytes.text())) {
        if (!out) why = std::string("the output takes no more: ") + strerror(errno);
        return false;
    }
    part.bytes.cut(0);
    part.kept = 0;
    return true;
}

bool TextFormat::end(bool keep) {
    const size_t Enough = out ? size_t{1} << 18 : size_t{1} << 16;
    if (!keep)
        for (const size_t sheet : begunNow) begun[sheet] = 0; // its header is cut off, too
    for (auto& part : parts) {
        if (!part) continue;
        if (!keep) part->bytes.cut(part->kept);
        part->kept = part->bytes.size();
        if (part->kept >= Enough && !flush(*part)) return false;
    }
    return why.empty();
}

bool TextFormat::flush() {
    for (auto& part : parts)
        if (part && !flush(*part)) return false;
    return true;
}

#include "wyrtlog/jsonl.h"

#include "wyrtlog/rate.h"

#include <algorithm>

static constexpr size_t KeyPiece = 32; // a key that is not longer is copied with this fixed number of bytes

void appendJson(std::string_view text, std::string& out) {
    constexpr char Digits[] = "0123456789abcdef";
    out += '"';
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') out += '\\', out += c;
        else if (byte < 0x20) out += "\\u00", out += Digits[byte >> 4U], out += Digits[byte & 15U];
        else out += c;
    }
    out += '"';
}

void JsonFormat::prepare(const Sheets& sheets) {
    hostText.clear();
    appendJson(host, hostText);
    plans.clear();
    for (auto& sheet : sheets.sheets()) {
        auto& plan = plans.emplace_back();
        plan.start = "{\"record\":\"" + sheet.tag + "\"";
        plan.most = plan.start.size() + hostText.size();
        for (auto& column : sheet.columns) {
            auto& key = plan.keys.emplace_back();
            key.text = ",\"" + column.name + "\":";
            key.size = key.text.size();
            key.text.resize(std::max(key.size, KeyPiece));
            constexpr size_t Quotes = 2;
            plan.most += key.size + Quotes + RateSize;
        }
    }
}

// What is not printed as it is in the log: into `value`.
bool JsonFormat::appendCell(const SheetColumn& column, std::string_view cell) {
    value.clear();
    if (!fits(column, cell)) return false;
    if (column.cast != Cast::Text) return appendNumber(cell, value);
    text.clear();
    if (!appendText(cell, text)) return false;
    appendJson(text, value);
    return true;
}

bool JsonFormat::record(const Sheet& sheet, const Cells& cells, std::string_view line, Bytes& bytes) {
    constexpr size_t Widest = 6; // bytes that a byte of a cell becomes: \u0001
    const auto& plan = plans[sheet.number];
    const char* lineEnd = line.data() + line.size();
    char* to = put(bytes.more(plan.most + line.size() * Widest), plan.start);
    for (size_t i = 0; i < sheet.columns.size(); i++) {
        const auto& column = sheet.columns[i];
        const auto& key = plan.keys[i];
        const auto cell = cells[column.place];
        if (cell.empty() && column.cast != Cast::Host) continue;
        if (column.perSecond && stamps.elapsed_us() <= 0) continue;
        if (key.size <= KeyPiece) memcpy(to, key.text.data(), KeyPiece), to += key.size;
        else to = put(to, std::string_view(key.text).substr(0, key.size));
        if (column.perSecond) {
            if (!fits(column, cell) || !putRate(cell, stamps.elapsed_us(), to)) return false;
        } else if (isNumber(column.cast) && column.range != Range::Flag && putDigits(cell, lineEnd, to)) {
            continue;
        } else if (isNumber(column.cast) && isPlainNumber(cell) && fits(column, cell)) {
            to = put(to, cell, lineEnd);
        } else if (column.cast == Cast::Host) {
            to = put(to, hostText);
        } else if (!isNumber(column.cast) && isPlainText(cell) && fitsPlain(column, cell)) {
            *to++ = '"', to = put(to, cell, lineEnd), *to++ = '"';
        } else {
            if (!appendCell(column, cell)) return false;
            to = put(to, value);
        }
    }
    *to++ = '}', *to++ = '\n';
    bytes.putUpTo(to);
    return true;
}

#include "wyrtlog/csv.h"

#include "wyrtlog/rate.h"

// What stands for a byte in tab-separated values after a backslash; 0: it stands for itself.
static char letterFor(char c) { return c == '\t' ? 't' : c == '\n' ? 'n' : c == '\r' ? 'r' : c == '\\' ? '\\' : '\0'; }

// Commas: in quotes where that is necessary, and quotes in it are doubled.
void CsvFormat::appendQuoted(std::string_view from, std::string& to) const {
    const bool quotes = !tabs && from.find_first_of(",\"\r\n") != from.npos;
    if (quotes) to += '"';
    for (const char c : from) {
        const char letter = tabs ? letterFor(c) : '\0';
        if (letter) to += '\\';
        if (quotes && c == '"') to += '"';
        to += letter ? letter : c;
    }
    if (quotes) to += '"';
}

void CsvFormat::prepare(const Sheets& sheets) {
    hostCell.clear();
    appendQuoted(host, hostCell);
    most.clear();
    for (auto& sheet : sheets.sheets())
        most.push_back(sheet.tag.size() + hostCell.size() + sheet.columns.size() * (RateSize + 1) + 1);
}

void CsvFormat::header(const Sheet& sheet, Bytes& bytes) {
    if (titled.size() <= sheet.number) titled.resize(sheet.number + 1);
    titled[sheet.number] = sheet.columns.size();
    std::string_view separator = "";
    if (kinds) bytes.append("record"), separator = tabs ? "\t" : ",";
    for (auto& column : sheet.columns) {
        bytes.append(separator), bytes.append(column.name);
        separator = tabs ? "\t" : ",";
    }
    bytes.append("\n");
}

// What is not printed as it is in the log: into `value`.
bool CsvFormat::appendCell(const SheetColumn& column, std::string_view cell) {
    value.clear();
    if (!fits(column, cell)) return false;
    if (column.cast != Cast::Text) return appendNumber(cell, value);
    text.clear();
    if (!appendText(cell, text)) return false;
    appendQuoted(text, value);
    return true;
}

bool CsvFormat::record(const Sheet& sheet, const Cells& cells, std::string_view line, Bytes& bytes) {
    constexpr size_t Widest = 2; // bytes that a byte of a cell becomes: a quote of its own line of the log
    const char separator = tabs ? '\t' : ',';
    const char* lineEnd = line.data() + line.size();
    char* start = bytes.more(most[sheet.number] + line.size() * Widest + 2 * sheet.columns.size());
    char* to = start;
    if (kinds) to = put(to, sheet.tag), *to++ = separator;
    const size_t count = titled[sheet.number];
    for (size_t i = 0; i < count; i++, *to++ = separator) {
        const auto& column = sheet.columns[i];
        const auto cell = cells[column.place];
        if (column.cast == Cast::Host) {
            to = put(to, hostCell);
        } else if (cell.empty()) {
            continue;
        } else if (column.perSecond) {
            if (!fits(column, cell) || !putRate(cell, stamps.elapsed_us(), to)) return false;
        } else if (isNumber(column.cast) && column.range != Range::Flag && putDigits(cell, lineEnd, to)) {
            continue;
        } else if (isNumber(column.cast) ? isPlainNumber(cell) && fits(column, cell)
                                         : isPlainText(cell) && fitsPlain(column, cell)) {
            to = put(to, cell, lineEnd);
        } else {
            if (!appendCell(column, cell)) return false;
            to = put(to, value);
        }
    }
    to[-1] = '\n';
    bytes.putUpTo(to);
    return true;
}

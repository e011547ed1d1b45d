// What an export gives of each kind: a sheet for each kind, with a column for the host, the time, the seconds and each
// field. The columns are those of the program's own list of kinds (record/interval.h). Kinds and fields that only the
// log's head knows follow.
#pragma once

#include "record/log.h"
#include "wyrtlog/cells.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

// What a cell of a column holds.
enum class Cast : unsigned char { Host, Moment, Text, Seconds, Whole, Real };
constexpr bool isNumber(Cast cast) { return cast >= Cast::Seconds; }
// Which whole numbers, or which texts, a column can have.
enum class Range : unsigned char { Any, Flag, Unsigned, Signed, Letter };

struct SheetColumn {
    std::string name;
    Role role;
    std::string unit;
    Cast cast;
    bool perSecond = false; // an amount, divided by the seconds of its line
    Range range = Range::Any;
    size_t place = NoCell; // of its cell in the lines of the log that is read
};
// Whether a cell that is not empty is a number or a text that the column can have, as LogReader judges it: an interval
// with another one is damaged.
bool fits(const SheetColumn& column, std::string_view cell);
// The same for a text without escapes.
inline bool fitsPlain(const SheetColumn& column, std::string_view cell) {
    return column.range != Range::Letter || cell.size() == 1;
}

// The record's kind is cell 0 of a line; these are the others that every line has.
inline constexpr size_t TimePlace = 1, SecondsPlace = 2, FirstPlace = 3;

// The columns of all kinds, and the fields that the program knows of this kind.
std::vector<SheetColumn> columnsOf(std::string_view tag);

struct Sheet {
    std::string tag;
    size_t number = 0;                // its index among all sheets
    std::vector<SheetColumn> columns; // those that are asked for, in that order; more may come with a further head
    std::vector<SheetColumn> all;
    bool own = false; // the program knows the kind
};

// What was asked for.
struct Choice {
    std::vector<std::string> kinds;  // empty: all
    std::vector<std::string> fields; // of one kind; empty: all
    bool rates = false;              // amounts are divided by the seconds
};

// Words between commas; kinds are in capital letters, however they were typed.
std::vector<std::string> commaWords(const std::string& list);
std::vector<std::string> kindWords(const std::string& list);

class Sheets {
    Choice choice;
    std::vector<Sheet> all;
    std::vector<std::pair<std::string, size_t>> byTag; // of the head that is in force: its tag, its sheet
    size_t last = 0;                                   // where the last line's kind was found

    Sheet* sheetOf(std::string_view tag);
    void place(Sheet& sheet, const std::vector<std::string>& names, const std::vector<std::string>* roles) const;
    std::string choose(Sheet& sheet) const;
    std::string whyNoKind(const LogReader& reader) const;

public:
    Sheets() = default;
    explicit Sheets(Choice what) : choice(std::move(what)) {}
    // Goes by the names of a log's head from now on. Returns why what was asked for is not to be had; empty: it is.
    std::string takeHead(const LogReader& reader);
    // Goes by these sheets instead.
    std::string takeSheets(std::vector<Sheet> sheets);
    // The sheet of a line by its kind; null: it is not asked for, or the head does not have it.
    const Sheet* find(std::string_view tag) {
        if (last < byTag.size() && byTag[last].first == tag) return &all[byTag[last].second];
        return findAnew(tag);
    }
    const Sheet* findAnew(std::string_view tag);
    const std::vector<Sheet>& sheets() const { return all; }
};

// Calls f(sheet, cells, line) for each line of an interval that has a sheet. f returns false when a cell does not fit;
// then this does, too, without going on.
template <typename F> bool eachLine(std::string_view text, Sheets& sheets, Cells& cells, F&& f) {
    while (!text.empty()) {
        const size_t newline = std::min(text.find('\n'), text.size());
        const auto line = text.substr(0, newline);
        text.remove_prefix(std::min(newline + 1, text.size()));
        const auto tag = line.substr(0, line.find(','));
        const auto* sheet = sheets.find(tag);
        if (!sheet) continue;
        cells.split(line);
        if (!f(*sheet, cells, line)) return false;
    }
    return true;
}

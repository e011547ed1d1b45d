// The two forms of a report, each defined once as data: the columns of its table for people, and the fields of its
// records for programs. A program that reads a saved log back uses the same field definitions.
#pragma once

#include "base/output.h"
#include "base/words.h"
#include "classic/monitor/format.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

// --- Tables

// What stands in a cell: a formatted number of its own or a text that lives elsewhere.
class TCell {
    ValueText own;
    std::string_view other;
    bool isOwn = false;

public:
    TCell(const ValueText& text) : own(text), isOwn(true) {} // NOLINT(google-explicit-constructor)
    TCell(std::string_view text) : other(text) {}            // NOLINT(google-explicit-constructor)
    TCell(const char* text) : other(text) {}                 // NOLINT(google-explicit-constructor)
    std::string_view text() const { return isOwn ? own.view() : other; }
};

// A plain number in a cell.
inline ValueText plain(long long number) { return ValueText().addf("%lld", number); }

// One column. The title has `width` characters, right-aligned (negative: left-aligned), and `after` behind it; a value
// has the same room together with its `unit`. With `when`, the column is there only while that setting equals `is`.
template <typename Row> struct TColumn {
    const char* title;
    int width;
    const char* unit;
    const char* after;
    TCell (*value)(const Row&);
    const int* when = nullptr;
    int is = 1;
    bool shown() const { return !when || *when == is; }
};

// A text in a field of `width` bytes, on the right of it (negative: on the left); a longer text is not cut.
void sayCell(std::string_view text, int width);

template <typename Row, size_t N> void dispTitles(const TColumn<Row> (&columns)[N]) {
    for (auto& column : columns)
        if (column.shown()) sayCell(column.title, column.width), sayText(column.after);
}

// The cells of one row, without a line end.
template <typename Row, size_t N> void dispCells(const TColumn<Row> (&columns)[N], const Row& row) {
    for (auto& column : columns) {
        if (!column.shown()) continue;
        const std::string_view unit = column.unit;
        sayCell(column.value(row).text(), column.width - static_cast<int>(unit.size()));
        sayText(unit), sayText(column.after);
    }
}

// --- Records

// How a record spells a value; a reader takes the same list the other way.
enum class Form {
    Int,    // %d: 32 bits, signed (a longer value keeps its low 32 bits)
    Long,   // %lld
    Real0,  // %.0f
    Real1,  // %.1f
    Real2,  // %.2f
    Real6,  // %f
    Milli,  // %03d
    Two,    // %02d
    Hex7,   // %07X
    Letter, // one character
    Text,   // as it is, commas included
};

// A value on its way into a record.
class TValue {
    double real = 0;
    int64_t whole = 0;
    std::string_view other;

public:
    TValue(double v) : real(v) {}                                    // NOLINT(google-explicit-constructor)
    TValue(std::integral auto v) : whole(static_cast<int64_t>(v)) {} // NOLINT(google-explicit-constructor)
    TValue(std::string_view v) : other(v) {}                         // NOLINT(google-explicit-constructor)
    void say(Form form) const;
};

// What a reader of records needs to know of a field.
struct TFieldInfo {
    const char* key; // its name, in the header record too
    Form form;
    const char* unit; // of the value: "KB", "bytes/s", "%"; "" for a count or a text
};
template <typename Row> struct TField {
    TFieldInfo info;
    TValue (*value)(const Row&);
};

// Lists of fields one behind the other: what several records have in common is written once.
template <typename Row, size_t... N> constexpr auto joined(const TField<Row> (&... parts)[N]) {
    std::array<TField<Row>, (N + ...)> all{};
    auto to = all.begin();
    ((to = std::copy(std::begin(parts), std::end(parts), to)), ...);
    return all;
}

// --- What a column or a field shows of its row: a member or a function of the row

template <typename Row, auto Value> auto valueOf(const Row& row) {
    if constexpr (std::is_member_object_pointer_v<decltype(Value)>) return row.*Value;
    else return Value(row);
}
// For columns: a count or rate in decimal multiples, bytes, a plain number, a text.
template <typename Row, auto Value> TCell count(const Row& row) {
    return GetValueStrNormal(static_cast<double>(valueOf<Row, Value>(row)));
}
template <typename Row, auto Value> TCell bytes(const Row& row) {
    return GetValueStr(static_cast<double>(valueOf<Row, Value>(row)));
}
template <typename Row, auto Value> TCell number(const Row& row) { return plain(valueOf<Row, Value>(row)); }
template <typename Row, auto Value> TCell text(const Row& row) {
    if constexpr (std::is_member_object_pointer_v<decltype(Value)>) return std::string_view(row.*Value);
    else return Value(row);
}
// For fields: a number with decimals, a whole number, a text.
template <typename Row, auto Value> TValue real(const Row& row) {
    return static_cast<double>(valueOf<Row, Value>(row));
}
template <typename Row, auto Value> TValue whole(const Row& row) { return valueOf<Row, Value>(row); }
template <typename Row, auto Value> TValue words(const Row& row) {
    if constexpr (std::is_member_object_pointer_v<decltype(Value)>) return std::string_view(row.*Value);
    else return Value(row);
}

// A kind of record. `announced`: how many of its fields the header record names; 0: it has none.
template <typename Row> struct TRecord {
    std::string_view tag; // with a comma when it is one of several kinds that share their first word
    std::span<const TField<Row>> fields;
    size_t announced = 0;
};

// The row of a record without fields.
struct TNothing {};

// "^TAG,field,...$"
template <typename Row> void dispRecord(const TRecord<Row>& record, const Row& row) {
    sayText("^"), sayText(record.tag);
    for (auto& field : record.fields) sayText(","), field.value(row).say(field.info.form);
    sayText("$\n");
}

// "^tag,key,...$": the names of the announced fields, under the tag in small letters.
template <typename Row> void dispHeader(const TRecord<Row>& record) {
    sayText("^");
    for (char c : record.tag) say("%c", c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    for (auto& field : record.fields.first(record.announced)) say(",%s", field.info.key);
    sayText("$\n");
}

// The two forms of a report, each defined once as data: the columns of its table for people, and its records for
// programs. record/classic defines the kinds of record and their fields; here each field gets its value.
#pragma once

#include "base/output.h"
#include "classic/monitor/format.h"
#include "record/field.h"
#include "record/value.h"

#include <array>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

// --- Tables

// The text of a cell: it owns a formatted number, or views a text that lives elsewhere.
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

// One column. Its title takes `width` characters, right-aligned (negative: left-aligned), and `after` follows it. A
// value and its `unit` together take the same width. With `when`, the column is shown only while that setting equals
// `is`.
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

// Prints a text right-aligned in `width` bytes (negative: left-aligned). A longer text is not cut.
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

// --- From a row to the value of a column or field

// Goes from a row to a value in steps. Each step is a member of the object reached so far, or a function of it. If the
// object is a pointer, the member is that of its target.
template <auto First, auto... Rest> decltype(auto) reach(const auto& from) {
    if constexpr (sizeof...(Rest) == 0) {
        return std::invoke(First, from);
    } else {
        using Reached = decltype(std::invoke(First, from));
        static_assert(std::is_lvalue_reference_v<Reached> || std::is_pointer_v<Reached>,
                      "the next step would look into something that is gone");
        return reach<Rest...>(std::invoke(First, from));
    }
}

// The steps as one function, for a field.
template <auto... Steps> struct TSteps {
    decltype(auto) operator()(const auto& row) const { return reach<Steps...>(row); }
};
template <auto... Steps> inline constexpr TSteps<Steps...> in;

// For columns: a count or rate in decimal multiples, bytes, a plain number, a text.
template <auto... Steps> TCell countCell(const auto& row) {
    return GetValueStrNormal(static_cast<double>(reach<Steps...>(row)));
}
template <auto... Steps> TCell bytesCell(const auto& row) {
    return GetValueStr(static_cast<double>(reach<Steps...>(row)));
}
template <auto... Steps> TCell numberCell(const auto& row) { return plain(reach<Steps...>(row)); }
template <auto... Steps> TCell textCell(const auto& row) {
    using Reached = decltype(reach<Steps...>(row));
    static_assert(std::is_lvalue_reference_v<Reached> || std::is_trivially_copyable_v<Reached>);
    return std::string_view(reach<Steps...>(row));
}

// --- Records

// A kind of record, and for each of its fields a function that appends the value of a row in the field's form.
template <typename Row> struct TRecord {
    const Kind* kind;
    std::span<void (*const)(const Row&, std::string&)> appenders;
};

template <typename Row, Form form, auto Get> void appendField(const Row& row, std::string& out) {
    const auto& got = std::invoke(Get, row); // keeps a temporary alive, so that its text is not copied
    valueFor<form>(got).append(out, form);
}

template <const Kind& kind, typename Row, auto... Gets> struct TBinding {
    static_assert(sizeof...(Gets) == kind.fields.size(), "a record needs one value for each field of its kind");

    template <size_t... I> static constexpr auto list(std::index_sequence<I...>) {
        return std::array<void (*)(const Row&, std::string&), sizeof...(Gets)>{
            appendField<Row, kind.fields[I].form, Gets>...};
    }
    static constexpr auto Appenders = list(std::make_index_sequence<sizeof...(Gets)>());
};

// Binds a value to each field of a kind, in the order of its fields: a member of the row, a function of it, or in<...>.
template <const Kind& kind, typename Row, auto... Gets>
inline constexpr TRecord<Row> recordOf = {&kind, TBinding<kind, Row, Gets...>::Appenders};

// The row of a record without fields.
struct TNothing {};

// "^TAG,field,...$"
template <typename Row> void dispRecord(const TRecord<Row>& record, const Row& row) {
    auto& out = pendingOutput();
    out.append("^").append(record.kind->tag);
    for (auto append : record.appenders) {
        out.push_back(',');
        append(row, out);
    }
    out.append("$\n");
}

// "^tag,key,...$": the names of the announced fields, under the tag in small letters.
void dispHeader(const Kind& kind);

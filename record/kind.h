// A kind of row, defined once as a list of its members. The log's writer and reader, the exports, the tables and the
// rules all use this list.
//
//     inline constexpr auto PressureKind = kind<PressureRow>("PSI",
//         id("resource", &PressureRow::resource),
//         amount("some", "us", &PressureRow::some_us));
#pragma once

#include "record/cell.h"
#include "record/field.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

// One member of a row as a field. Amounts and levels that the kernel does not report are empty, so their members are
// std::optional.
template <typename Row, typename T> struct Member {
    std::string_view name;
    Role role;
    std::string_view unit; // "B", "us", "%"; empty for a count and for a text
    T Row::* at;
};

// Identifies the thing that the row is about. The row that sums up the things without room has no identity.
template <typename Row, typename T> constexpr auto id(std::string_view name, T Row::* at) {
    return Member<Row, T>{name, Role::Id, "", at};
}
// A further description of the thing.
template <typename Row, typename T> constexpr auto label(std::string_view name, T Row::* at) {
    return Member<Row, T>{name, Role::Text, "", at};
}
// What happened in the interval: a whole number; amounts of several intervals can be added.
template <typename Row, typename T> constexpr auto amount(std::string_view name, std::string_view unit, T Row::* at) {
    return Member<Row, T>{name, Role::Amount, unit, at};
}
// A state at the interval's end.
template <typename Row, typename T> constexpr auto level(std::string_view name, std::string_view unit, T Row::* at) {
    return Member<Row, T>{name, Role::Level, unit, at};
}

template <typename T> constexpr Form formOf() {
    if constexpr (IsOptional<T>::value) return formOf<typename T::value_type>();
    else if constexpr (std::floating_point<T>) return Form::Real;
    else if constexpr (Number<T>) return Form::Whole;
    else return Form::Escaped;
}

template <typename R, typename... T> struct RowKind {
    using Row = R;
    std::string_view tag; // capitals
    std::tuple<Member<R, T>...> members;

    template <typename F> constexpr void each(F&& f) const {
        std::apply([&](const auto&... member) { (f(member), ...); }, members);
    }
    // The fields as data, without time and elapsed seconds, which every line begins with.
    constexpr std::array<Field, sizeof...(T)> fields() const {
        return std::apply(
            [](const Member<R, T>&... member) {
                return std::array<Field, sizeof...(T)>{
                    Field{member.name, member.role, member.unit, formOf<T>()}
                    ...
                };
            },
            members);
    }
};

// Members that the row inherits count as its own.
template <typename Row, typename... From, typename... T>
constexpr auto kind(std::string_view tag, Member<From, T>... members) {
    return RowKind<Row, T...>{tag, {Member<Row, T>{members.name, members.role, members.unit, members.at}...}};
}

// ",db7,12,,0.5": the cells of a row. A row without identity has empty cells for it.
template <typename Kind>
void appendCells(std::string& line, const Kind& kind, const typename Kind::Row& row, bool identity = true) {
    kind.each([&](const auto& member) {
        line += ',';
        if (identity || member.role != Role::Id) appendCell(line, row.*member.at);
    });
}

// The number of the cell that each member of a kind has in the lines of a log, found by the names in the log's header.
// NoCell: the log does not have it.
inline constexpr size_t NoCell = static_cast<size_t>(-1);
template <typename Kind> std::vector<size_t> placesOf(const Kind& kind, std::span<const std::string_view> header) {
    std::vector<size_t> places;
    kind.each([&](const auto& member) {
        const auto found = std::find(header.begin(), header.end(), member.name);
        places.push_back(found == header.end() ? NoCell : static_cast<size_t>(found - header.begin()));
    });
    return places;
}

// The result of reading a line into a row.
enum class RowRead {
    Row,    // a thing
    Rest,   // the sum of the things without room; it has no identity
    Damaged // a cell does not fit its field
};

template <typename Kind>
RowRead readCells(std::span<const std::string_view> cells, const Kind& kind, std::span<const size_t> places,
                  typename Kind::Row& row) {
    bool damaged = false, ids = false, identified = false;
    size_t i = 0;
    kind.each([&](const auto& member) {
        const size_t place = places[i++];
        const auto cell = place < cells.size() ? cells[place] : std::string_view{};
        if (member.role == Role::Id) ids = true, identified |= !cell.empty();
        if (!readCell(cell, row.*member.at)) damaged = true;
    });
    return damaged ? RowRead::Damaged : ids && !identified ? RowRead::Rest : RowRead::Row;
}

// Adds the amounts of a row to those of another row. An amount without a value adds nothing.
template <typename Kind> void addAmounts(const Kind& kind, const typename Kind::Row& row, typename Kind::Row& sum) {
    kind.each([&](const auto& member) {
        if (member.role != Role::Amount) return;
        auto& to = sum.*member.at;
        const auto& from = row.*member.at;
        using T = std::remove_cvref_t<decltype(to)>;
        if constexpr (IsOptional<T>::value) {
            if constexpr (Number<typename T::value_type>)
                if (from) to = to.value_or(0) + *from;
        } else if constexpr (Number<T>) {
            to += from;
        }
    });
}

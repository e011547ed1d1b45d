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
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
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

// A member of one row, whatever its type. What is done with rows of any kind is compiled once for these types, in
// kind.cpp, and not again for each member of each kind.
template <template <typename> typename To>
using AnyOf = std::variant<To<std::string>, To<char>, To<bool>, To<uint64_t>, To<int64_t>, To<double>,
                           To<std::optional<uint64_t>>, To<std::optional<int64_t>>, To<std::optional<double>>>;
template <typename T> using Pointer = T*;
template <typename T> using ConstPointer = const T*;
using Slot = AnyOf<Pointer>;
using ConstSlot = AnyOf<ConstPointer>;

void appendCell(std::string& line, const ConstSlot& slot);
bool readCell(std::string_view cell, const Slot& slot);
// Adds the value of a slot of the same type. A text, or an amount without a value, adds nothing.
void addSlot(const ConstSlot& slot, const Slot& sum);
// 0 for a text, and for an amount without a value.
double figureOf(const ConstSlot& slot);

// One member of a kind, of any of those types.
template <typename Row> class AnyMember {
    enum class Type : unsigned char { Text, Letter, Flag, Whole, Signed, Real, MayWhole, MaySigned, MayReal };
    Type type = Type::Text;
    Form cellForm;
    union {
        std::string Row::* text;
        char Row::* letter;
        bool Row::* flag;
        uint64_t Row::* whole;
        int64_t Row::* difference;
        double Row::* real;
        std::optional<uint64_t> Row::* mayWhole;
        std::optional<int64_t> Row::* maySigned;
        std::optional<double> Row::* mayReal;
    };
    constexpr void set(std::string Row::* at) { type = Type::Text, text = at; }
    constexpr void set(char Row::* at) { type = Type::Letter, letter = at; }
    constexpr void set(bool Row::* at) { type = Type::Flag, flag = at; }
    constexpr void set(uint64_t Row::* at) { type = Type::Whole, whole = at; }
    constexpr void set(int64_t Row::* at) { type = Type::Signed, difference = at; }
    constexpr void set(double Row::* at) { type = Type::Real, real = at; }
    constexpr void set(std::optional<uint64_t> Row::* at) { type = Type::MayWhole, mayWhole = at; }
    constexpr void set(std::optional<int64_t> Row::* at) { type = Type::MaySigned, maySigned = at; }
    constexpr void set(std::optional<double> Row::* at) { type = Type::MayReal, mayReal = at; }

public:
    std::string_view name;
    Role role;
    std::string_view unit;

    // Members that the row inherits count as its own.
    template <typename From, typename T>
    constexpr AnyMember(const Member<From, T>& member)
        : cellForm(formOf<T>()), text(), name(member.name), role(member.role), unit(member.unit) {
        set(static_cast<T Row::*>(member.at));
    }
    constexpr Form form() const { return cellForm; }
    constexpr bool isFigure() const { return role == Role::Amount || role == Role::Level; }

    // The member of a row: a Slot, or of a constant row a ConstSlot.
    template <typename R> auto in(R& row) const {
        using S = std::conditional_t<std::is_const_v<R>, ConstSlot, Slot>;
        switch (type) {
        case Type::Letter:
            return S(&(row.*letter));
        case Type::Flag:
            return S(&(row.*flag));
        case Type::Whole:
            return S(&(row.*whole));
        case Type::Signed:
            return S(&(row.*difference));
        case Type::Real:
            return S(&(row.*real));
        case Type::MayWhole:
            return S(&(row.*mayWhole));
        case Type::MaySigned:
            return S(&(row.*maySigned));
        case Type::MayReal:
            return S(&(row.*mayReal));
        case Type::Text:
            break;
        }
        return S(&(row.*text));
    }
};

template <typename R, size_t N> struct RowKind {
    using Row = R;
    std::string_view tag; // capitals
    std::array<AnyMember<R>, N> members;

    // The fields as data, without time and elapsed seconds, which every line begins with.
    constexpr std::array<Field, N> fields() const {
        std::array<Field, N> fields{};
        for (size_t i = 0; i < N; i++)
            fields[i] = {members[i].name, members[i].role, members[i].unit, members[i].form()};
        return fields;
    }
};

template <typename Row, typename... From, typename... T>
constexpr auto kind(std::string_view tag, Member<From, T>... members) {
    return RowKind<Row, sizeof...(T)>{tag, {AnyMember<Row>(members)...}};
}

// ",db7,12,,0.5": the cells of a row. A row without identity has empty cells for it.
template <typename Kind>
void appendCells(std::string& line, const Kind& kind, const typename Kind::Row& row, bool identity = true) {
    for (auto& member : kind.members) {
        line += ',';
        if (identity || member.role != Role::Id) appendCell(line, member.in(row));
    }
}

// The number of the cell that each member of a kind has in the lines of a log, found by the names in the log's header.
// NoCell: the log does not have it.
inline constexpr size_t NoCell = static_cast<size_t>(-1);
template <typename Kind> std::vector<size_t> placesOf(const Kind& kind, std::span<const std::string_view> header) {
    std::vector<size_t> places;
    for (auto& member : kind.members) {
        const auto found = std::find(header.begin(), header.end(), member.name);
        places.push_back(found == header.end() ? NoCell : static_cast<size_t>(found - header.begin()));
    }
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
    for (auto& member : kind.members) {
        const size_t place = places[i++];
        const auto cell = place < cells.size() ? cells[place] : std::string_view{};
        if (member.role == Role::Id) ids = true, identified |= !cell.empty();
        if (!readCell(cell, member.in(row))) damaged = true;
    }
    return damaged ? RowRead::Damaged : ids && !identified ? RowRead::Rest : RowRead::Row;
}

// Adds the amounts of a row to those of another row. An amount without a value adds nothing.
template <typename Kind> void addAmounts(const Kind& kind, const typename Kind::Row& row, typename Kind::Row& sum) {
    for (auto& member : kind.members)
        if (member.role == Role::Amount) addSlot(member.in(row), member.in(sum));
}

// A kind of record as data: its tag, and the name, role, unit and form of each field. Logs, exports, tables and rules
// all use these lists.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <string_view>

// How a value is spelled.
enum class Form : uint8_t {
    Whole,   // a whole number of 64 bits, signed or unsigned, all its digits
    Int,     // the low 32 bits of a whole number, with a sign
    Long,    // the low 64 bits of a whole number, with a sign
    Real,    // the fewest digits that give the same double when read back
    Real0,   // with this number of decimals: "12"
    Real1,   // "12.5"
    Real2,   // "12.50"
    Real6,   // "12.500000"
    Milli,   // 32 bits with a sign, at least three digits: "007"
    Two,     // 32 bits with a sign, at least two digits: "07"
    Hex7,    // 32 bits, at least seven hexadecimal digits, upper case: "0102001"
    Letter,  // one byte
    Text,    // the bytes as they are
    Escaped, // a text with \xHH for what could break a line, a field or a terminal: see record/escape.h
};

// What a field says about its record.
enum class Role : uint8_t {
    Time,    // when it happened
    Elapsed, // how long the interval was
    Id,      // which thing the record is about
    Text,    // a further description of the thing
    Amount,  // what happened in the interval; amounts of several intervals can be added
    Level,   // a state at the interval's end, or a rate; the sum of levels has no meaning
};

struct Field {
    std::string_view name;
    Role role;
    std::string_view unit; // "B", "us", "%"; empty for a count or a text
    Form form;
};

struct Kind {
    std::string_view tag;
    std::span<const Field> fields;
    size_t announced = 0; // how many of the fields a header names; 0: the kind has no header
};

// A list of one field.
constexpr std::array<Field, 1> only(Field field) { return {field}; }

// Joins lists of fields, so that fields that several kinds share are written once.
template <const auto&... Lists> constexpr auto joined() {
    std::array<Field, (std::size(Lists) + ...)> all{};
    auto to = all.begin();
    ((to = std::copy(std::begin(Lists), std::end(Lists), to)), ...);
    return all;
}

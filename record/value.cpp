#include "record/value.h"

#include "base/words.h"
#include "record/escape.h"

#include <charconv>
#include <cmath>

// --- Numbers into text

template <typename Int> static void appendWhole(Int number, std::string& out) {
    char digits[24]; // a sign and 20 digits
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    out.append(digits, end);
}

static void appendReal(double number, int decimals, std::string& out) {
    char digits[352]; // a sign, the 309 digits of the largest double, the point and six decimals
    const auto end = std::to_chars(digits, digits + sizeof digits, number, std::chars_format::fixed, decimals).ptr;
    out.append(digits, end);
}

static void appendShortest(double number, std::string& out) {
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    out.append(digits, end);
}

// At least `least` digits, padded with zeros. A sign precedes them and counts as a digit, as in printf.
static void appendPadded(int32_t number, size_t least, std::string& out) {
    const bool negative = number < 0;
    const auto bits = static_cast<uint32_t>(number);
    char digits[12];
    const auto end = std::to_chars(digits, digits + sizeof digits, negative ? 0 - bits : bits).ptr;
    const size_t size = static_cast<size_t>(end - digits) + negative;
    if (negative) out.push_back('-');
    out.append(size < least ? least - size : 0, '0').append(digits, end);
}

static void appendHex7(uint32_t number, std::string& out) {
    constexpr char Digits[] = "0123456789ABCDEF";
    if (number >> 28U) out.push_back(Digits[number >> 28U]);
    for (unsigned shift = 28; shift > 0; shift -= 4) out.push_back(Digits[number >> (shift - 4) & 15U]);
}

// --- What is held, as one type

std::optional<uint64_t> Value::whole() const {
    if (auto* number = std::get_if<int64_t>(&held)) return static_cast<uint64_t>(*number);
    if (auto* number = std::get_if<uint64_t>(&held)) return *number;
    auto* number = std::get_if<double>(&held);
    if (!number || std::isnan(*number)) return {};
    constexpr double Limit = 9223372036854775808.0; // 2^63
    if (*number >= Limit) return INT64_MAX;
    return static_cast<uint64_t>(toLong(*number)); // a number that is too low becomes the lowest one
}

std::optional<double> Value::real() const {
    if (auto* number = std::get_if<double>(&held)) return *number;
    if (auto* number = std::get_if<int64_t>(&held)) return static_cast<double>(*number);
    if (auto* number = std::get_if<uint64_t>(&held)) return static_cast<double>(*number);
    return {};
}

// --- Into a record

void Value::appendText(std::string& out, Form form) const {
    std::string_view text;
    if (auto* view = std::get_if<std::string_view>(&held)) text = *view;
    else if (auto* own = std::get_if<std::string>(&held)) text = *own;
    else if (auto* number = std::get_if<double>(&held)) return appendShortest(*number, out);
    else return append(out, Form::Whole);
    if (form == Form::Escaped) escape(text, out);
    else out.append(text);
}

static void appendReal(double number, Form form, std::string& out) {
    switch (form) {
    case Form::Real0:
        return appendReal(number, 0, out);
    case Form::Real1:
        return appendReal(number, 1, out);
    case Form::Real2:
        return appendReal(number, 2, out);
    case Form::Real6:
        return appendReal(number, 6, out);
    default:
        return appendShortest(number, out);
    }
}

static void appendWhole(uint64_t bits, Form form, std::string& out) {
    const auto low = static_cast<int32_t>(static_cast<uint32_t>(bits));
    switch (form) {
    case Form::Int:
        return appendWhole(low, out);
    case Form::Milli:
        return appendPadded(low, 3, out);
    case Form::Two:
        return appendPadded(low, 2, out);
    case Form::Hex7:
        return appendHex7(static_cast<uint32_t>(bits), out);
    case Form::Letter:
        return out.push_back(static_cast<char>(bits));
    default:
        return appendWhole(static_cast<int64_t>(bits), out);
    }
}

void Value::append(std::string& out, Form form) const {
    if (isNothing()) return;
    if (isTextForm(form)) return appendText(out, form);
    if (isRealForm(form)) {
        if (const auto number = real()) appendReal(*number, form, out);
        return;
    }
    if (auto* number = std::get_if<uint64_t>(&held); number && form == Form::Whole) return appendWhole(*number, out);
    if (const auto bits = whole()) appendWhole(*bits, form, out);
}

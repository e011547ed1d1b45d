// Converts one field of a log line to and from a member of a row. An empty cell is a member without a value.
#pragma once

#include "record/escape.h"

#include <charconv>
#include <cmath>
#include <concepts>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

template <typename T> struct IsOptional : std::false_type {};
template <typename T> struct IsOptional<std::optional<T>> : std::true_type {};

template <typename T>
concept Number = (std::integral<T> && !std::is_same_v<T, char>) || std::floating_point<T>;

// The shortest text that gives the same number when it is read; nothing for not-a-number and the infinities.
template <Number T> void appendCell(std::string& line, T value) {
    if constexpr (std::floating_point<T>)
        if (!std::isfinite(value)) return;
    char digits[32];
    if constexpr (std::is_same_v<T, bool>) line += value ? '1' : '0';
    else line.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}
inline void appendCell(std::string& line, char letter) {
    if (letter) escape({&letter, 1}, line);
}
inline void appendCell(std::string& line, std::string_view text) { escape(text, line); }
template <typename T> void appendCell(std::string& line, const std::optional<T>& value) {
    if (value) appendCell(line, *value);
}

// False, and the member unchanged, when the cell does not fit the member. An empty cell leaves it unchanged, too.
template <Number T> bool readCell(std::string_view cell, T& value) {
    if (cell.empty()) return true;
    if constexpr (std::is_same_v<T, bool>) {
        if (cell != "0" && cell != "1") return false;
        value = cell == "1";
        return true;
    } else {
        T read{};
        const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), read);
        if (error != std::errc() || end != cell.data() + cell.size()) return false;
        value = read;
        return true;
    }
}
inline bool readCell(std::string_view cell, std::string& text) {
    text.clear();
    return unescape(cell, text);
}
inline bool readCell(std::string_view cell, char& letter) {
    std::string text;
    if (!unescape(cell, text) || text.size() > 1) return false;
    if (!text.empty()) letter = text[0];
    return true;
}
template <typename T> bool readCell(std::string_view cell, std::optional<T>& value) {
    value.reset();
    if (cell.empty()) return true;
    T read{};
    if (!readCell(cell, read)) return false;
    value = std::move(read);
    return true;
}

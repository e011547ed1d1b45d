// Numbers of the new form's parsers: decimal digits as the kernel prints them, checked for their range.
#pragma once

#include <charconv>
#include <concepts>
#include <string_view>

// Reads a text that is a number as a whole. Otherwise false, and `value` is unchanged.
template <std::integral T> bool toNumber(std::string_view text, T& value, int base = 10) {
    T read{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), read, base);
    if (error != std::errc() || end != text.data() + text.size()) return false;
    value = read;
    return true;
}

// Takes a number, and the blanks and tabs before it, off the start of the text. False when there is none.
template <std::integral T> bool takeNumber(std::string_view& text, T& value) {
    const auto start = text.find_first_not_of(" \t");
    if (start == text.npos) return false;
    T read{};
    const auto [end, error] = std::from_chars(text.data() + start, text.data() + text.size(), read);
    if (error != std::errc()) return false;
    value = read;
    text.remove_prefix(static_cast<size_t>(end - text.data()));
    return true;
}

// Takes the next line off the text and drops its newline. False when the text is used up.
inline bool takeLine(std::string_view& text, std::string_view& line) {
    if (text.empty()) return false;
    const auto newline = text.find('\n');
    line = text.substr(0, newline);
    text.remove_prefix(newline == text.npos ? text.size() : newline + 1);
    return true;
}

// Takes the next word, which ends at a blank or tab, off the text. Empty when there is none.
inline std::string_view takeWord(std::string_view& text) {
    const auto start = text.find_first_not_of(" \t");
    if (start == text.npos) return text = {};
    const auto end = text.find_first_of(" \t", start);
    const auto word = text.substr(start, end == text.npos ? end : end - start);
    text.remove_prefix(end == text.npos ? text.size() : end);
    return word;
}

// Whether a list of words has this one. Blanks and commas separate words; no word is empty.
inline bool hasWord(std::string_view list, std::string_view word) {
    while (!list.empty()) {
        const auto end = list.find_first_of(" ,");
        if (list.substr(0, end) == word) return !word.empty();
        if (end == list.npos) break;
        list.remove_prefix(end + 1);
    }
    return false;
}

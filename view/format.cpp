#include "view/format.h"

#include "record/escape.h"

#include <algorithm>

std::string rateText(const std::optional<uint64_t>& amount, double seconds) {
    return amount && seconds > 0 ? countText(valueOf(amount) / seconds) : std::string(NoValue);
}

std::string speedText(const std::optional<uint64_t>& bytes, double seconds) {
    constexpr double MB = 1048576;
    return bytes && seconds > 0 ? fixedText(valueOf(bytes) / MB / seconds, 1) : std::string(NoValue);
}

std::string counted(uint64_t number, std::string_view what, std::string_view ending) {
    return std::to_string(number).append(" ").append(what).append(number == 1 ? "" : ending);
}

std::string percentText(std::optional<double> part, double whole) {
    return part && whole > 0 ? fixedText(*part * 100 / whole, 1) : std::string(NoValue);
}

std::string safeText(std::string_view text) {
    std::string escaped;
    escape(text, escaped);
    // Commas, quotes and backslashes harm a log, but no terminal.
    std::string shown;
    for (size_t i = 0; i < escaped.size(); i++) {
        const auto code = std::string_view(escaped).substr(i, 4);
        const char plain = code == "\\x2C" ? ',' : code == "\\x22" ? '"' : code == "\\x5C" ? '\\' : '\0';
        shown += plain ? plain : escaped[i];
        if (plain) i += 3;
    }
    return shown;
}

// The number of the character that begins at `at`, and its length; texts here are UTF-8 already.
static char32_t characterAt(std::string_view text, size_t at, size_t& length) {
    const auto first = static_cast<unsigned char>(text[at]);
    length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC0 ? 2 : 1;
    if (length == 1 || at + length > text.size()) return length = 1, first;
    char32_t code = first & (0xFFU >> (length + 1));
    for (size_t i = 1; i < length; i++) code = code << 6 | (static_cast<unsigned char>(text[at + i]) & 0x3FU);
    return code;
}

static size_t columnsOf(char32_t code) {
    const auto within = [code](char32_t low, char32_t high) { return code >= low && code <= high; };
    if (within(0x300, 0x36F) || within(0x200B, 0x200F) || within(0x202A, 0x202E) || within(0x20D0, 0x20FF) ||
        within(0xFE00, 0xFE0F))
        return 0;
    return within(0x1100, 0x115F) || within(0x2E80, 0x303E) || within(0x3041, 0xA4CF) || within(0xAC00, 0xD7A3) ||
                   within(0xF900, 0xFAFF) || within(0xFE30, 0xFE6F) || within(0xFF00, 0xFF60) ||
                   within(0xFFE0, 0xFFE6) || within(0x1F300, 0x1FAFF) || within(0x20000, 0x3FFFD)
               ? 2
               : 1;
}

size_t textWidth(std::string_view text) {
    size_t width = 0, length = 0;
    for (size_t at = 0; at < text.size(); at += length) width += columnsOf(characterAt(text, at, length));
    return width;
}

std::string_view cutToWidth(std::string_view text, size_t width) {
    size_t used = 0, length = 0, at = 0;
    for (; at < text.size(); at += length) {
        used += columnsOf(characterAt(text, at, length));
        if (used > width) break;
    }
    return text.substr(0, at);
}

std::string endOf(std::string_view text, size_t width) {
    constexpr size_t LongestCharacter = 4; // bytes
    if (textWidth(text) <= width) return std::string(text);
    std::string_view end = text.substr(text.size() - std::min(text.size(), width * LongestCharacter));
    const auto inside = [&] { return (static_cast<unsigned char>(end.front()) & 0xC0U) == 0x80; };
    while (!end.empty() && (inside() || textWidth(end) + 3 > width)) end.remove_prefix(1);
    return "..." + std::string(end);
}

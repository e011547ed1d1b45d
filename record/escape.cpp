#include "record/escape.h"

#include "base/words.h"

#include <array>

// Bytes that are never escaped: ASCII without controls and the three special characters.
static constexpr std::array<bool, 256> Plain = [] {
    std::array<bool, 256> plain{};
    for (size_t c = 0x20; c < 0x7F; c++) plain[c] = c != ',' && c != '"' && c != '\\';
    return plain;
}();

static size_t countPlain(std::string_view text) {
    size_t n = 0;
    while (n < text.size() && Plain[static_cast<unsigned char>(text[n])]) n++;
    return n;
}

static void escapeByte(char c, std::string& out) {
    constexpr char Digits[] = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    const char escaped[] = {'\\', 'x', Digits[byte >> 4U], Digits[byte & 15U]};
    out.append(escaped, sizeof escaped);
}

void escape(std::string_view text, std::string& out) {
    while (true) {
        const size_t plain = countPlain(text);
        out.append(text, 0, plain);
        text.remove_prefix(plain);
        if (text.empty()) return;
        unsigned code = 0;
        const size_t length = getCharacter(text, code); // 1 byte from 0x80 on: not UTF-8
        constexpr unsigned LastControl = 0x9F;
        if (length > 1 && code > LastControl) out.append(text, 0, length);
        else
            for (char c : text.substr(0, length)) escapeByte(c, out);
        text.remove_prefix(length);
    }
}

// The value of an upper-case hexadecimal digit; -1 for any other character.
static int digitOf(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

bool unescape(std::string_view text, std::string& out) {
    const size_t start = out.size();
    for (size_t at; (at = text.find('\\')) != text.npos;) {
        const int high = text.size() >= at + 4 && text[at + 1] == 'x' ? digitOf(text[at + 2]) : -1;
        const int low = high >= 0 ? digitOf(text[at + 3]) : -1;
        if (low < 0) {
            out.resize(start);
            return false;
        }
        out.append(text, 0, at).push_back(static_cast<char>(high * 16 + low));
        text.remove_prefix(at + 4);
    }
    out.append(text);
    return true;
}

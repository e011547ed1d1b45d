// Splits the text of kernel files and commands: into lines like fgets, into words at blanks, and reads numbers like the
// C library.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

// Reads text line by line as fgets with a buffer of `limit` bytes would: a piece has at most limit-1 bytes and keeps
// its newline; a longer line comes in pieces; a last line may lack the newline. A NUL ends the text of a piece, as in a
// C string; the rest of the piece is skipped.
class Lines {
    std::string_view rest;
    size_t most;

public:
    Lines(std::string_view text, size_t limit) : rest(text), most(limit - 1) {}
    // false: there is no more text.
    bool next(std::string_view& line) {
        if (rest.empty()) return false;
        auto piece = rest.substr(0, most);
        if (auto end = piece.find('\n'); end != piece.npos) piece = piece.substr(0, end + 1);
        rest.remove_prefix(piece.size());
        line = piece.substr(0, piece.find('\0'));
        return true;
    }
    // The text not read yet. Another Lines can go on with it, with another limit.
    std::string_view left() const { return rest; }
};

// The text without its last byte. That is the newline, or the last character of a line that was cut or has no newline.
inline std::string_view dropLast(std::string_view s) { return s.substr(0, s.empty() ? 0 : s.size() - 1); }

// The text without its leading spaces.
inline std::string_view skipBlanks(std::string_view s) {
    auto at = s.find_first_not_of(' ');
    return at == s.npos ? std::string_view{} : s.substr(at);
}

// The text without its leading spaces and tabs; a view without data when nothing is left.
inline std::string_view skipWhite(std::string_view s) {
    auto at = s.find_first_not_of(" \t");
    return at == s.npos ? std::string_view{} : s.substr(at);
}

// True and `rest` is what follows `key` when the line begins with it.
inline bool afterKey(std::string_view line, std::string_view key, std::string_view& rest) {
    if (!line.starts_with(key)) return false;
    rest = line.substr(key.size());
    return true;
}

// strtoll on the start of the text: white space skipped, a sign, decimal digits; 0 without a digit; saturates.
// `end`, when given, gets the position after the last digit, 0 when there was no number.
int64_t toLong(std::string_view s, size_t* end = nullptr);
// atoi: strtol cut to its low 32 bits.
int32_t toInt(std::string_view s);

// A double as x86-64 converts it: truncated, the lowest value for what does not fit (and for not-a-number).
int32_t toInt(double v);
int64_t toLong(double v);

// The number after the first separator of a line; 0 without one.
int64_t numberAfter(std::string_view line, char separator);

// Words as the process files need them: a field starts at position 0 and after every space, and every space ends one,
// so that consecutive spaces give empty fields. Stops when `fields` is full; returns how many there are. The last field
// runs to the next space, too.
int splitFields(std::string_view line, std::span<std::string_view> fields);

// Words as most tables need them: a word starts at a non-space character that is first or follows a space (or the
// character `also`). Each view reaches to the end of the line: conversions stop by themselves. Only as many as fit.
int splitWords(std::string_view line, std::span<std::string_view> words, char also = ' ');

// The text up to its first space.
inline std::string_view word(std::string_view s) { return s.substr(0, s.find(' ')); }

// The length of the UTF-8 character (RFC 3629) at the start of the text; `code` gets its number. If there is no such
// character, the length is 1 and `code` the byte. The text must not be empty.
size_t getCharacter(std::string_view s, unsigned& code);

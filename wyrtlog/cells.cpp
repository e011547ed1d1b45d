#include "wyrtlog/cells.h"

#include "base/words.h"
#include "record/escape.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

// --- Splitting

// The commas of the next bytes as bits of a number; `bits` is how many bits each byte has there.
#ifdef __SSE2__
static constexpr size_t Step = 16, Bits = 1;
static unsigned commasIn(const char* from) {
    const auto bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(','))));
}
#else
static constexpr size_t Step = 8, Bits = 8;
static uint64_t commasIn(const char* from) {
    constexpr uint64_t Ones = 0x0101010101010101U, Low = 0x7F7F7F7F7F7F7F7FU;
    uint64_t word = 0;
    memcpy(&word, from, sizeof word);
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
    word ^= Ones * ',';
    return ~(((word & Low) + Low) | word | Low); // exact: nothing is carried from byte to byte
}
#endif

void Cells::split(std::string_view line) {
    text = line.data();
    if (ends.size() < line.size() + 2) ends.resize(2 * line.size() + 2);
    uint32_t* end = ends.data();
    size_t at = 0;
    for (; at + Step <= line.size(); at += Step)
        for (auto commas = commasIn(text + at); commas; commas &= commas - 1)
            *++end = static_cast<uint32_t>(at + static_cast<size_t>(std::countr_zero(commas)) / Bits);
    for (; at < line.size(); at++)
        if (text[at] == ',') *++end = static_cast<uint32_t>(at);
    *++end = static_cast<uint32_t>(line.size());
    count = static_cast<size_t>(end - ends.data());
}

// --- Numbers

template <typename T> static std::optional<T> numberOf(std::string_view cell) {
    T value{};
    const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), value);
    if (error != std::errc() || end != cell.data() + cell.size()) return {};
    return value;
}

// Most are short and without a sign.
std::optional<int64_t> signedOf(std::string_view cell) {
    constexpr size_t Surely = 18; // digits that fit
    if (cell.empty() || cell.size() > Surely) return numberOf<int64_t>(cell);
    int64_t value = 0;
    for (const char c : cell) {
        const auto digit = static_cast<unsigned char>(c - '0');
        if (digit > 9) return numberOf<int64_t>(cell);
        value = value * 10 + digit;
    }
    return value;
}
std::optional<uint64_t> wholeOf(std::string_view cell) { return numberOf<uint64_t>(cell); }
std::optional<double> realOf(std::string_view cell) {
    const auto value = numberOf<double>(cell);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

static bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isPlainNumber(std::string_view cell) {
    size_t at = !cell.empty() && cell[0] == '-' ? 1 : 0;
    const auto digits = [&] {
        const size_t from = at;
        while (at < cell.size() && isDigit(cell[at])) at++;
        return at > from;
    };
    const size_t first = at;
    if (!digits() || (cell[first] == '0' && at > first + 1)) return false;
    if (at == cell.size()) return true;
    if (cell[at] == '.' && (at++, !digits())) return false;
    if (at == cell.size()) return true;
    if (cell[at] != 'e') return false;
    if (++at < cell.size() && (cell[at] == '+' || cell[at] == '-')) at++;
    return digits() && at == cell.size();
}

#ifdef __SSE2__
bool putDigits(std::string_view cell, const char* end, char*& to) {
    constexpr size_t Piece = 16;
    if (cell.size() > Piece || static_cast<size_t>(end - cell.data()) < Piece) return false;
    const auto bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(cell.data()));
    const auto values = _mm_sub_epi8(bytes, _mm_set1_epi8('0'));
    const auto digits = _mm_cmpeq_epi8(values, _mm_min_epu8(values, _mm_set1_epi8(9)));
    const auto all = (1U << cell.size()) - 1;
    if ((static_cast<unsigned>(_mm_movemask_epi8(digits)) & all) != all) return false;
    if (cell[0] == '0' && cell.size() > 1) return false;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes);
    to += cell.size();
    return true;
}
#else
bool putDigits(std::string_view, const char*, char*&) { return false; }
#endif

// --- Texts

static constexpr std::array<bool, 256> PlainBytes = [] {
    std::array<bool, 256> plain{};
    for (size_t c = 0x20; c < 0x7F; c++) plain[c] = c != ',' && c != '"' && c != '\\';
    return plain;
}();

bool isPlainText(std::string_view cell) {
    for (const char c : cell)
        if (!PlainBytes[static_cast<unsigned char>(c)]) return false;
    return true;
}

void appendValid(std::string_view text, std::string& out) {
    while (!text.empty()) {
        unsigned code = 0;
        const size_t length = getCharacter(text, code);
        if (length == 1 && (code == 0 || code >= 0x80)) { // not UTF-8
            constexpr char Digits[] = "0123456789ABCDEF";
            const auto byte = static_cast<unsigned char>(text[0]);
            const char escaped[] = {'\\', 'x', Digits[byte >> 4U], Digits[byte & 15U]};
            out.append(escaped, sizeof escaped);
        } else {
            out.append(text, 0, length);
        }
        text.remove_prefix(length);
    }
}

bool appendText(std::string_view cell, std::string& out) {
    if (isPlainText(cell)) {
        out.append(cell);
        return true;
    }
    std::string bytes;
    if (!unescape(cell, bytes)) return false;
    appendValid(bytes, out);
    return true;
}

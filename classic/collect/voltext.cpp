#include "classic/collect/voltext.h"

#include "base/words.h"
#include "classic/collect/volumes.h"

#include <cstring>

static bool isBlank(char c) { return c == ' ' || c == '\t'; }
static bool isOpening(char c) { return c == '[' || c == '('; }
static bool isClosing(char c) { return c == ']' || c == ')'; }

std::string_view cutLineEnd(std::string_view line, size_t least) {
    while (line.size() > least && (line.back() == '\r' || line.back() == '\n')) line.remove_suffix(1);
    return line;
}

void delspace(std::string_view s, std::span<char> d) {
    size_t length = 0;
    for (size_t i = 0; i < s.size() && length + 1 < d.size(); i++)
        if (!isBlank(s[i])) d[length++] = s[i];
    if (!d.empty()) d[length] = '\0';
}

std::string_view getlasttrim(std::string_view s) {
    while (!s.empty() && isBlank(s.back())) s.remove_suffix(1);
    return s;
}

// The text after the last separator; the last character, commonly a newline, is not examined.
static std::string_view afterLast(std::string_view s, std::string_view separators) {
    const auto at = dropLast(s).find_last_of(separators);
    return at == s.npos ? s : s.substr(at + 1);
}

std::string_view getlast(std::string_view s) { return afterLast(s, "/ \t]"); }
std::string_view getlast2(std::string_view s) { return afterLast(s, " \t"); }
std::string_view getnameonly(std::string_view devname) { return afterLast(devname, "/"); }

std::string_view getnext(std::string_view s) {
    if (s.size() < 4) return {};
    for (size_t i = 1; i < s.size(); i++)
        if (!isBlank(s[i]) && (isBlank(s[i - 1]) || isClosing(s[i - 1]))) return s.substr(i);
    return {};
}

// Copies up to the first stop character and terminates there; false when the text or the room ended before one came.
template <typename Stop> static bool copyUntil(std::string_view s, std::span<char> des, size_t& copied, Stop stop) {
    for (copied = 0; copied < s.size() && copied + 1 < des.size(); copied++) {
        if (stop(s[copied])) {
            des[copied] = '\0';
            return true;
        }
        des[copied] = s[copied];
    }
    return false;
}

std::string_view getbracket(std::string_view s, int index, std::span<char> des) {
    if (isNone(s) || des.size() < 2) return {};
    des.front() = des.back() = '\0';
    int number = 0;
    for (size_t i = 0; i < s.size(); i++) {
        if (!isOpening(s[i]) || number++ != index) continue;
        size_t copied = 0;
        copyUntil(s.substr(i + 1), des, copied, isClosing);
        return s.substr(i);
    }
    return {};
}

int getstring(std::string_view s, std::span<char> des) {
    if (isNone(s) || des.size() < 2) return 0;
    des.front() = des.back() = '\0';
    size_t copied = 0;
    // Quirk: when a stop character ends the word, the returned length is one too small, -1 for an empty word. Callers
    // use only the copy. Seen by tests/unit/test_voltext.cpp.
    if (copyUntil(s, des, copied, [](char c) { return isBlank(c) || isClosing(c); }))
        return static_cast<int>(copied) - 1;
    return static_cast<int>(strlen(des.data()));
}

int getblockinfo(std::string_view s, TLVData& lv) {
    const auto numbers = getlast(s);
    lv.major = toInt(numbers);
    const auto colon = dropLast(numbers).find(':', 1);
    if (colon == numbers.npos) return 0;
    lv.minor = toInt(numbers.substr(colon + 1));
    return 1;
}

int getextent(std::string_view s, char c, TSegment& seg) {
    const auto numbers = getfirst(s);
    if (isNone(numbers) || (c != 'L' && c != 'P')) return 0;
    auto& extents = c == 'L' ? seg.lext : seg.pext;
    extents[0] = toInt(numbers);
    extents[1] = toInt(getlast(numbers));
    return 1;
}

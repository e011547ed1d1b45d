// Values in the reports of the volume tools. Only the blank and the tab are white space here. A result is a part of the
// argument. "None" is a view without data, as std::string_view{} is, and differs from an empty text: see isNone.
#pragma once

#include "base/text.h"
#include "base/words.h"

#include <span>
#include <string_view>

struct TLVData;
struct TSegment;

inline bool isNone(std::string_view s) { return s.data() == nullptr; }
// The text from its character `at` on; empty beyond its end.
inline std::string_view tail(std::string_view s, size_t at) { return s.substr(std::min(at, s.size())); }
// Without line ends, as long as it has more than `least` characters.
std::string_view cutLineEnd(std::string_view line, size_t least);

// Copies the text without blanks and tabs, as far as there is room, and terminates the copy.
void delspace(std::string_view s, std::span<char> d);
// Without the blanks and tabs at its end; a newline at the end protects those before it.
std::string_view getlasttrim(std::string_view s);
template <size_t N> void getlasttrim(Text<N>& s) { s.cut(getlasttrim(s.view()).size()); }
// The last word or the last component of a path: the text after the last '/', blank, tab or ']'. The very last
// character does not count as a separator. Without a separator it is the whole text.
std::string_view getlast(std::string_view s);
// The last word: as getlast, but only blanks and tabs separate.
std::string_view getlast2(std::string_view s);
// From the first character that is no blank or tab; none when there is no such character.
inline std::string_view getfirst(std::string_view s) { return skipWhite(s); }
// The text from its second word on; a word also starts right after a closing bracket. None for texts of less than 4
// characters.
std::string_view getnext(std::string_view s);
// Copies the text inside bracket number `index` ('[' and '(' count alike, from 0) and returns the text from that
// bracket on; none when there are fewer brackets. A bracket that does not close within the text or the buffer is copied
// as getstring does it.
std::string_view getbracket(std::string_view s, int index, std::span<char> des);
// Copies the first word, which ends at a blank, a tab or a closing bracket, and returns its length minus one. When the
// text or the buffer ends first, the copy is not terminated: the buffer's old bytes follow it, and the length of the
// whole is returned. The buffer's last byte is 0 in any case. Returns 0 without a text or with a buffer below 2 bytes.
int getstring(std::string_view s, std::span<char> des);
// "Block device           253:4": 1 when both numbers are there, else 0 (the first is set in any case).
int getblockinfo(std::string_view s, TLVData& lv);
// The two numbers of " 0 to 255:" as the logical ('L') or physical ('P') extents of the segment; 0 without numbers.
int getextent(std::string_view s, char c, TSegment& seg);
// The last component of a device path; a '/' at its very end does not count.
std::string_view getnameonly(std::string_view devname);

// The text with '&' for every ',', so that it can be a field of a record.
template <size_t N> Text<N> checkcomma(const Text<N>& s) {
    Text<N> changed;
    for (const char& c : s.view()) changed.add(std::string_view(c == ',' ? "&" : &c, 1));
    return changed;
}

// Picking values out of the reports of the volume tools. Only the blank and the tab are white space here. A result is a
// rest of the argument; no result is the view without data (as std::string_view{} is), which is not the same as an
// empty text: see isNone.
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

// Copies all but blanks and tabs, as much as fits with the terminator.
void delspace(std::string_view s, std::span<char> d);
// Without the blanks and tabs at its end; a newline at the end protects those before it.
std::string_view getlasttrim(std::string_view s);
template <size_t N> void getlasttrim(Text<N>& s) { s.cut(getlasttrim(s.view()).size()); }
// The last word, or the last component of a path or bracket: from behind the last '/', blank, tab or ']' on, the very
// last character not counting as one; everything when there is none.
std::string_view getlast(std::string_view s);
// The last word: as getlast, but only blanks and tabs separate.
std::string_view getlast2(std::string_view s);
// From the first character that is no blank or tab; none when there is no such character.
inline std::string_view getfirst(std::string_view s) { return skipWhite(s); }
// The second word; one right behind a closing bracket is a new word. None for texts of less than 4 characters.
std::string_view getnext(std::string_view s);
// Copies what stands in bracket number `index` ('[' and '(' alike, from 0) and gives the text from that bracket on;
// none when there are fewer. See getstring for a bracket that does not close within the text or the buffer.
std::string_view getbracket(std::string_view s, int index, std::span<char> des);
// Copies the first word, which ends at a blank, a tab or a closing bracket, and returns its length minus one. Without
// such an end within the text or the buffer nothing terminates the copy: what the buffer held behind it stays, and the
// length of the whole is returned. The buffer's last byte is 0 in any case. 0 for no text or a buffer below 2 bytes.
int getstring(std::string_view s, std::span<char> des);
// "Block device           253:4": 1 when both numbers are there, else 0 (the first is set in any case).
int getblockinfo(std::string_view s, TLVData& lv);
// The two numbers of " 0 to 255:" as the logical ('L') or physical ('P') extents of the segment; 0 without numbers.
int getextent(std::string_view s, char c, TSegment& seg);
// The last component of a device path; a '/' at its very end is not seen.
std::string_view getnameonly(std::string_view devname);

// The text with '&' for every ',', so that it can be a field of a record.
template <size_t N> Text<N> checkcomma(const Text<N>& s) {
    Text<N> changed;
    for (const char& c : s.view()) changed.add(std::string_view(c == ',' ? "&" : &c, 1));
    return changed;
}

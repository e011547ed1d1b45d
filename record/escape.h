// The texts of the log. A comma would end a field, a quote would confuse readers of CSV, a control character would
// reach a terminal, and bytes that are not UTF-8 would stop programs that expect it. All of these, and the backslash
// itself, are written as \xHH, one for each byte, in upper case: the file name `a,b` is written `a\x2Cb`.
#pragma once

#include <string>
#include <string_view>

// Appends the text, with \xHH for each byte of: `,` `"` `\`, U+0000 to U+001F, U+007F to U+009F, and what is not UTF-8
// as RFC 3629 defines it (overlong forms, surrogates, numbers above U+10FFFF, characters that are cut short).
void escape(std::string_view text, std::string& out);

// Appends the bytes that were escaped. False: the text is damaged, because one of its backslashes does not begin \xHH
// in upper case; `out` is then left as it was.
bool unescape(std::string_view text, std::string& out);

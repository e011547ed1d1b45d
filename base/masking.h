// Texts that others chose, made safe for a terminal and for a message of one line.
#pragma once

#include <string>
#include <string_view>

// Makes a text safe for a terminal, because others choose process names and paths: control characters other than the
// newline (C0, DEL; C1 raw and as UTF-8) become '?'. Everything else stays unchanged.
void maskControls(std::string& text);
// The text as one line: newlines are '?', too.
std::string oneLine(std::string_view text);
// The same in quotes; what is long is cut.
std::string inQuotes(std::string_view text);

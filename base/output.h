// What the program prints. One buffer for standard output, written out at the end of a pass, before a command and
// before a pause, so that a killed run leaves whole intervals and a reader behind a pipe gets each interval at once.
#pragma once

#include <string>
#include <string_view>

// printf to standard output.
[[gnu::format(printf, 1, 2)]] void say(const char* format, ...);
void sayText(std::string_view text);
// What has been printed and not written yet, for those who append piece by piece.
std::string& pendingOutput();
// perror: "text: reason of `error`" to standard error, at once.
void sayError(std::string_view text, int error);
// "[ERROR] Failed to open PATH [ENO(n):reason]": a file that should be there and is not.
void sayOpenFailed(std::string_view path, int error);
// printf for a message of at most 1023 bytes (its line buffer), with a newline behind it.
[[gnu::format(printf, 1, 2)]] void sayMessage(const char* format, ...);
void flushOutput();

// The bytes as a terminal may see them: control characters other than the newline (C0, DEL; C1 raw and as UTF-8) become
// '?', since process names and paths are chosen by others. Everything else stays as it is.
void maskControls(std::string& text);

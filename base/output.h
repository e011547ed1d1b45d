// The output of the program. Standard output has one buffer, which is written at the end of a pass, before a command
// and before a pause. So a killed run leaves whole intervals, and a program that reads from a pipe gets each interval
// at once.
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
// "[ERROR] Failed to open PATH [ENO(n):reason]": a file that should exist cannot be opened.
void sayOpenFailed(std::string_view path, int error);
// printf for a message of at most 1023 bytes, followed by a newline.
[[gnu::format(printf, 1, 2)]] void sayMessage(const char* format, ...);
void flushOutput();

// Makes a text safe for a terminal, because others choose process names and paths: control characters other than the
// newline (C0, DEL; C1 raw and as UTF-8) become '?'. Everything else stays unchanged.
void maskControls(std::string& text);

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
void flushOutput();

// Messages of the collectors and reports about what failed.
#pragma once

#include <string_view>

// perror: "text: reason of `error`" to standard error, at once.
void sayError(std::string_view text, int error);
// printf for a message of at most 1023 bytes (its line buffer), followed by a newline.
[[gnu::format(printf, 1, 2)]] void sayMessage(const char* format, ...);
// "[ERROR] Failed to open PATH [ENO(n):reason]": a file that should be there and is not.
void sayOpenFailed(std::string_view path, int error);
// "Failed to get memory for WHAT [ENO(n):reason]": errno tells the reason, after `label`.
void sayNoMemory(std::string_view what, const char* label = "ENO");

// What the program says when it cannot do what was asked: one line on standard error.
#pragma once

#include <string>
#include <string_view>

// Exit statuses of the new form.
inline constexpr int Done = 0, Failed = 1, WrongUsage = 2;

// The text in quotes, as one line that a terminal may see: control characters are '?', what is long is cut.
std::string inQuotes(std::string_view text);

// "wyrt: WHY": the work cannot be done. Gives Failed.
int failed(const std::string& why);
// "wyrt: WHY (see wyrt --help)": it was asked for in a wrong way. Gives WrongUsage.
int refused(const std::string& why, std::string_view help = "wyrt --help");

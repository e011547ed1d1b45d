// How directives are read.
#pragma once

#include <string>
#include <string_view>

// The first word of a line, which is cut off with the blanks around it.
std::string cutWord(std::string& line);
// C escapes decoded; \s is a blank.
std::string decoded(std::string_view s);
// Throws std::runtime_error for a name it does not know.
int errnoByName(const std::string& name);

// Whether a command colours its output.
#pragma once

#include <string_view>

enum class Color { Auto, Always, Never };

// The words of --color; an empty one is auto. False: it is none of them.
bool parseColor(std::string_view word, Color& color);
// Auto colours a terminal, unless the environment has NO_COLOR with a value.
bool isColored(Color color, bool terminal);

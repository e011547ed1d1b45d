#include "base/color.h"

#include <cstdlib>

bool parseColor(std::string_view word, Color& color) {
    if (word.empty() || word == "auto") color = Color::Auto;
    else if (word == "always") color = Color::Always;
    else if (word == "never") color = Color::Never;
    else return false;
    return true;
}

bool isColored(Color color, bool terminal) {
    if (color != Color::Auto) return color == Color::Always;
    const char* no = std::getenv("NO_COLOR");
    return terminal && (!no || !*no);
}

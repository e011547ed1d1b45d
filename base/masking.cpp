#include "base/masking.h"

#include "base/words.h"

#include <algorithm>

static bool isControl(unsigned code) { return (code < 0x20 && code != '\n') || (code >= 0x7F && code <= 0x9F); }

void maskControls(std::string& text) {
    size_t to = 0;
    for (size_t at = 0; at < text.size();) {
        unsigned code = 0;
        const size_t length = getCharacter(std::string_view(text).substr(at), code);
        if (isControl(code)) {
            text[to++] = '?';
        } else {
            std::copy_n(text.data() + at, length, text.data() + to); // forwards: `to` is at or before `at`
            to += length;
        }
        at += length;
    }
    text.resize(to);
}

std::string oneLine(std::string_view text) {
    std::string shown(text);
    std::replace(shown.begin(), shown.end(), '\n', '?');
    maskControls(shown);
    return shown;
}

std::string inQuotes(std::string_view text) {
    constexpr size_t Most = 100; // bytes: the line stays one that can be read
    std::string quoted("'");
    return quoted.append(oneLine(text.substr(0, Most))).append(text.size() > Most ? "...'" : "'");
}

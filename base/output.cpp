#include "base/output.h"

#include "base/door.h"
#include "base/masking.h"

#include <cstdarg>
#include <cstdio>

std::string& pendingOutput() {
    static std::string text;
    return text;
}

static void addFormatted(std::string& to, const char* format, va_list args) {
    constexpr size_t Usual = 512; // most lines fit into it and are formatted only once
    const size_t start = to.size();
    va_list again;
    va_copy(again, args);
    to.resize(start + Usual);
    const int n = vsnprintf(to.data() + start, Usual, format, args);
    const size_t size = n > 0 ? static_cast<size_t>(n) : 0;
    if (size >= Usual) {
        to.resize(start + size + 1);
        vsnprintf(to.data() + start, size + 1, format, again);
    }
    va_end(again);
    to.resize(start + size);
}

void say(const char* format, ...) {
    va_list args;
    va_start(args, format);
    addFormatted(pendingOutput(), format, args);
    va_end(args);
}

void sayText(std::string_view text) { pendingOutput() += text; }

void flushOutput() {
    auto& text = pendingOutput();
    if (text.empty()) return;
    static const bool terminal = isTerminal();
    if (terminal) maskControls(text);
    putOut(text);
    text.clear();
}

#include "classic/collect/messages.h"

#include "base/door.h"
#include "base/output.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

void sayError(std::string_view text, int error) {
    std::string line(text);
    line.append(": ").append(strerror(error)).append("\n");
    putErr(line);
}

void sayMessage(const char* format, ...) {
    char line[1024];
    va_list args;
    va_start(args, format);
    vsnprintf(line, sizeof line, format, args);
    va_end(args);
    sayText(line);
    sayText("\n");
}

void sayOpenFailed(std::string_view path, int error) {
    sayMessage("[ERROR] Failed to open %.*s [ENO(%d):%s]", static_cast<int>(path.size()), path.data(), error,
               strerror(error));
}

void sayNoMemory(std::string_view what, const char* label) {
    const int error = errno;
    say("Failed to get memory for %.*s [%s(%d):%s]\n", static_cast<int>(what.size()), what.data(), label, error,
        strerror(error));
}

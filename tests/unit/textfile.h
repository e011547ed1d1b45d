// A file of a made-up machine with any text.
#pragma once

#include <string>

// The line of a world that makes it (format: tests/worlds/README.md).
inline std::string fileLines(const char* path, const std::string& text) {
    std::string quoted;
    for (char c : text) quoted += c == '\n' ? std::string("\\n") : c == '\0' ? std::string("\\0") : std::string(1, c);
    return std::string("text ") + path + " \"" + quoted + "\"\n";
}

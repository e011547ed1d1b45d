#include "base/refusal.h"

#include "base/door.h"
#include "base/output.h"

#include <algorithm>

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

int failed(const std::string& why) {
    putErr("wyrt: " + why + "\n");
    return Failed;
}

int refused(const std::string& why, std::string_view help) {
    putErr("wyrt: " + why + " (see " + std::string(help) + ")\n");
    return WrongUsage;
}

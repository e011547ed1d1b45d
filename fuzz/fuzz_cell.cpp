// Texts in a log: what is escaped comes back, and holds nothing that breaks a line, a field or a terminal. Names of
// files in a recorder's folder.
#include "fuzz/check.h"
#include "record/cell.h"
#include "record/lognames.h"

#include <cstdint>

template <typename T> static void checkCell(std::string_view text) {
    T value{};
    if (!readCell(text, value)) return;
    std::string cell;
    appendCell(cell, value);
    T again{};
    check(readCell(cell, again) && again == value);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::string escaped, back;
    escape(text, escaped);
    for (const char c : escaped) check(static_cast<unsigned char>(c) >= 0x20 && c != ',' && c != '"' && c != 0x7F);
    check(unescape(escaped, back) && back == text);
    std::string once;
    if (unescape(text, once)) {
        std::string twice;
        escape(once, twice);
        check(unescape(twice, back = "") && back == once);
    }
    checkCell<uint64_t>(text), checkCell<int64_t>(text), checkCell<double>(text), checkCell<bool>(text);
    checkCell<char>(text), checkCell<std::string>(text), checkCell<std::optional<uint64_t>>(text);
    const auto name = logName(text, 1795266641000, 2);
    check(name.find('/') == name.npos && name.front() != '.' && logNameTime(name) == 1795266641000);
    if (isPlainLog(text)) check(logNameTime(text).has_value() && text.ends_with(".wyrt"));
    return 0;
}

#include "parse/pressure.h"

#include "base/numbers.h"

static std::optional<uint64_t> totalOf(std::string_view line) {
    constexpr std::string_view Key = "total=";
    const auto at = line.find(Key);
    uint64_t total = 0;
    if (at == line.npos) return {};
    line.remove_prefix(at + Key.size());
    return takeNumber(line, total) ? std::optional(total) : std::nullopt;
}

std::optional<Pressure> parsePressure(std::string_view text) {
    Pressure pressure;
    for (std::string_view line; takeLine(text, line);) {
        if (line.starts_with("some ")) pressure.some_us = totalOf(line);
        else if (line.starts_with("full ")) pressure.full_us = totalOf(line);
    }
    if (!pressure.some_us && !pressure.full_us) return {};
    return pressure;
}

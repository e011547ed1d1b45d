#include "parse/limits.h"

#include "base/numbers.h"

#include <algorithm>

std::optional<Softnet> parseSoftnet(std::string_view text) {
    constexpr int Dropped = 1, Squeezed = 2, Backlog = 11; // columns
    Softnet all;
    bool found = false;
    for (std::string_view line; takeLine(text, line);) {
        int column = 0;
        for (auto word = takeWord(line); !word.empty(); word = takeWord(line), column++) {
            uint64_t value = 0;
            if (!toNumber(word, value, 16)) break;
            if (column == Dropped) all.dropped += value;
            if (column == Squeezed) all.squeezed += value, found = true;
            if (column == Backlog) all.backlog = std::max(all.backlog.value_or(0), value);
        }
    }
    return found ? std::optional(all) : std::nullopt;
}

std::optional<uint64_t> parseCpuColumn(std::string_view text, std::string_view title) {
    std::string_view titles;
    if (!takeLine(text, titles)) return {};
    int column = 0;
    for (auto word = takeWord(titles); word != title; word = takeWord(titles), column++)
        if (word.empty()) return {};
    std::optional<uint64_t> all;
    for (std::string_view line; takeLine(text, line);) {
        for (int i = 0; i < column; i++) takeWord(line);
        uint64_t value = 0;
        if (!toNumber(takeWord(line), value, 16)) continue;
        all = title == "entries" ? value : all.value_or(0) + value;
    }
    return all;
}

std::optional<uint64_t> parseNumberAt(std::string_view text, unsigned place) {
    std::string_view line;
    if (!takeLine(text, line)) return {};
    for (unsigned i = 0; i < place; i++) takeWord(line);
    uint64_t value = 0;
    return toNumber(takeWord(line), value) ? std::optional(value) : std::nullopt;
}

std::optional<KeyUse> parseKeyUsers(std::string_view text) {
    std::optional<KeyUse> nearest;
    for (std::string_view line; takeLine(text, line);) {
        takeWord(line), takeWord(line), takeWord(line); // uid, references, instantiated
        const auto word = takeWord(line);
        const auto slash = word.find('/');
        KeyUse use;
        if (slash == word.npos || !toNumber(word.substr(0, slash), use.keys) ||
            !toNumber(word.substr(slash + 1), use.limit) || use.limit == 0)
            continue;
        const auto share = [](const KeyUse& of) {
            return static_cast<double>(of.keys) / static_cast<double>(of.limit);
        };
        if (!nearest || share(use) > share(*nearest)) nearest = use;
    }
    return nearest;
}

#include "parse/swaps.h"

#include "base/numbers.h"
#include "parse/mountinfo.h"

#include <utility>

// Takes the line's last word off its end.
static std::string_view takeLast(std::string_view& line) {
    line = line.substr(0, line.find_last_not_of(" \t") + 1);
    const auto word = line.substr(line.find_last_of(" \t") + 1);
    line.remove_suffix(word.size());
    return word;
}

std::vector<SwapArea> parseSwaps(std::string_view text) {
    std::vector<SwapArea> areas;
    for (std::string_view line; takeLine(text, line);) {
        SwapArea area;
        const auto priority = takeLast(line), used = takeLast(line), size = takeLast(line), type = takeLast(line);
        const auto path = line.substr(0, line.find_last_not_of(" \t") + 1);
        if (path.empty() || !toNumber(priority, area.priority) || !toNumber(used, area.used_kib) ||
            !toNumber(size, area.size_kib))
            continue;
        area.path = unescapeOctal(path);
        area.file = type == "file";
        areas.push_back(std::move(area));
    }
    return areas;
}

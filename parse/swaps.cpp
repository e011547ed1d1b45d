#include "parse/swaps.h"

#include "parse/mountinfo.h"

#include <algorithm>
#include <charconv>

template <typename N> static bool toNumber(std::string_view word, N& number) {
    const auto read = std::from_chars(word.data(), word.data() + word.size(), number);
    return read.ec == std::errc{} && read.ptr == word.data() + word.size();
}

// Takes the line's last word off its end.
static std::string_view takeLast(std::string_view& line) {
    line = line.substr(0, line.find_last_not_of(" \t") + 1);
    const auto word = line.substr(line.find_last_of(" \t") + 1);
    line.remove_suffix(word.size());
    return word;
}

std::vector<SwapArea> parseSwaps(std::string_view text) {
    std::vector<SwapArea> areas;
    while (!text.empty()) {
        auto line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
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

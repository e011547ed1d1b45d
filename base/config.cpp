#include "base/config.h"

#include "base/door.h"
#include "base/numbers.h"

#include <algorithm>

static std::string_view trimmed(std::string_view text) {
    constexpr std::string_view Blanks = " \t\r";
    const auto first = text.find_first_not_of(Blanks);
    return first == text.npos ? std::string_view{} : text.substr(first, text.find_last_not_of(Blanks) - first + 1);
}

void parseConfig(const std::string& file, std::string_view text, std::vector<ConfigLine>& lines) {
    size_t number = 0;
    for (std::string_view line; takeLine(text, line);) {
        number++;
        line = trimmed(line);
        if (line.empty() || line.front() == '#') continue;
        const auto equals = line.find('=');
        const auto value = equals == line.npos ? std::string_view{} : trimmed(line.substr(equals + 1));
        lines.push_back(
            {file + ":" + std::to_string(number), std::string(trimmed(line.substr(0, equals))), std::string(value)});
    }
}

bool readConfigFile(const std::string& path, std::vector<ConfigLine>& lines) {
    constexpr size_t Most = 1 << 20; // bytes
    Contents text;
    if (!readFile(path.c_str(), text, Reading::Whole, Most)) return false;
    if (text.error) return errno = text.error, false;
    parseConfig(path, text.view(), lines);
    return true;
}

bool readConfig(const std::string& folder, std::vector<ConfigLine>& lines, std::string& path) {
    path = folder;
    Directory directory;
    if (!directory.open(folder.c_str())) return false;
    std::vector<std::string> names;
    Directory::Entry entry{};
    while (directory.next(entry)) {
        const std::string_view name = entry.name;
        if (name.ends_with(".conf") && !name.starts_with('.')) names.emplace_back(name);
    }
    std::sort(names.begin(), names.end());
    for (const auto& name : names) {
        path = folder + "/" + name;
        if (!readConfigFile(path, lines)) return false;
    }
    return true;
}

#include "parse/mountinfo.h"

#include "base/numbers.h"

#include <algorithm>

// False when the line has no more word.
static bool takeWord(std::string_view& line, std::string_view& word) {
    word = takeWord(line);
    return !word.empty();
}

std::string unescapeOctal(std::string_view text) {
    const auto digit = [&](size_t at, char most) { return at < text.size() && text[at] >= '0' && text[at] <= most; };
    std::string out;
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] == '\\' && digit(i + 1, '3') && digit(i + 2, '7') && digit(i + 3, '7')) {
            out += static_cast<char>((text[i + 1] - '0') << 6 | (text[i + 2] - '0') << 3 | (text[i + 3] - '0'));
            i += 3;
        } else {
            out += text[i];
        }
    }
    return out;
}

bool parseMountInfoLine(std::string_view line, MountInfo& mount) {
    std::string_view id, parent, device, root, point, options, word;
    if (!takeWord(line, id) || !takeWord(line, parent) || !takeWord(line, device) || !takeWord(line, root) ||
        !takeWord(line, point) || !takeWord(line, options))
        return false;
    do { // none or more of shared:N, master:N ...
        if (!takeWord(line, word)) return false;
    } while (word != "-");
    std::string_view type, source;
    if (!takeWord(line, type) || line.empty()) return false;
    line.remove_prefix(1); // a source may be empty: then two blanks follow each other
    source = line.substr(0, line.find(' '));
    line.remove_prefix(std::min(source.size() + 1, line.size()));
    const auto colon = device.find(':');
    if (colon == device.npos || !toNumber(device.substr(0, colon), mount.major) ||
        !toNumber(device.substr(colon + 1), mount.minor) || !toNumber(id, mount.id) || !toNumber(parent, mount.parent))
        return false;
    mount.root = unescapeOctal(root);
    mount.point = unescapeOctal(point);
    mount.options = options;
    mount.type = unescapeOctal(type);
    mount.source = unescapeOctal(source);
    mount.superOptions = unescapeOctal(line);
    return true;
}

std::vector<MountInfo> parseMountInfo(std::string_view text) {
    std::vector<MountInfo> mounts;
    for (std::string_view line; takeLine(text, line);)
        if (MountInfo mount; parseMountInfoLine(line, mount)) mounts.push_back(std::move(mount));
    return mounts;
}

std::string mountOption(std::string_view options, std::string_view name) {
    while (!options.empty()) {
        std::string option;
        size_t at = 0;
        for (; at < options.size() && options[at] != ','; at++) {
            if (options[at] == '\\' && at + 1 < options.size()) at++;
            option += options[at];
        }
        options.remove_prefix(std::min(at + 1, options.size()));
        if (option.size() > name.size() && option.starts_with(name) && option[name.size()] == '=')
            return option.substr(name.size() + 1);
    }
    return {};
}

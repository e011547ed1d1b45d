#include "parse/udev.h"

#include <algorithm>

std::string_view UdevData::operator[](std::string_view name) const {
    for (auto& property : properties)
        if (property.name == name) return property.value;
    return {};
}

UdevData parseUdevData(std::string_view text) {
    UdevData data;
    while (!text.empty()) {
        auto line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        const auto equals = line.find('=');
        if (line.starts_with("S:")) data.links.push_back(line.substr(2));
        else if (line.starts_with("E:") && equals != line.npos && equals > 2)
            data.properties.push_back({line.substr(2, equals - 2), line.substr(equals + 1)});
    }
    return data;
}

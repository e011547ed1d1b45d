#include "parse/uevent.h"

#include "base/numbers.h"

#include <algorithm>

std::optional<Uevent> parseUevent(std::string_view message) {
    Uevent event;
    const auto head = message.substr(0, message.find('\0'));
    const auto at = head.find('@');
    if (at == head.npos || at == 0) return {};
    message.remove_prefix(std::min(head.size() + 1, message.size()));
    while (!message.empty()) {
        const auto pair = message.substr(0, message.find('\0'));
        message.remove_prefix(std::min(pair.size() + 1, message.size()));
        const auto name = pair.substr(0, pair.find('='));
        const auto value = pair.substr(std::min(name.size() + 1, pair.size()));
        if (name == "ACTION") event.action = value;
        else if (name == "SUBSYSTEM") event.subsystem = value;
        else if (name == "DEVNAME") event.devname = value;
        else if (name == "DEVPATH") event.devpath = value;
        else if (name == "DM_ACTION") event.dmAction = value;
        else if (name == "DM_NAME") event.dmName = value;
        else if (name == "DM_PATH") event.dmPath = value;
        else if (uint32_t paths = 0; name == "DM_NR_VALID_PATHS" && toNumber(value, paths)) event.validPaths = paths;
    }
    if (event.action.empty()) return {};
    return event;
}

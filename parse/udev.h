// A file of /run/udev/data: the facts that udev's rules have found out about one device.
#pragma once

#include <string_view>
#include <vector>

struct UdevData {
    struct Property {
        std::string_view name, value;
    };
    std::vector<Property> properties;    // E:DM_NAME=vg-lv
    std::vector<std::string_view> links; // S:mapper/vg-lv, names below /dev
    // The value of a property; empty when there is none.
    std::string_view operator[](std::string_view name) const;
};

// The views reach into the text. Other and damaged lines are skipped.
UdevData parseUdevData(std::string_view text);

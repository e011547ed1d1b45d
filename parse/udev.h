// A file of /run/udev/data: what udev's rules found out about one device.
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

// The views reach into the text. Lines of other kinds and damaged ones are passed over.
UdevData parseUdevData(std::string_view text);

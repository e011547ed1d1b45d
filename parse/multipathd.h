// The output of `multipathd show maps json`: the maps, their groups and paths.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct MultipathPath {
    std::string device;                   // sdb
    std::string dm, deviceState, checker; // the map's view of it (active, failed), the device's own, the last check's
    unsigned group = 0;                   // from 1
    std::string groupState;               // active, enabled, disabled
};

struct MultipathMap {
    std::string name, device, state; // mpatha, dm-0, active or suspend
    std::vector<MultipathPath> paths;
};

// None when the text is no report of maps.
std::optional<std::vector<MultipathMap>> parseMultipathMaps(std::string_view json);

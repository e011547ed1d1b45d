// A kernel uevent: "add@/devices/...\0ACTION=add\0DEVPATH=/devices/...\0SUBSYSTEM=block\0...".
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

struct Uevent {
    std::string_view action, subsystem, devname, devpath;
    std::string_view dmAction, dmName, dmPath; // PATH_FAILED or PATH_REINSTATED, the map's name, "8:16"
    std::optional<uint32_t> validPaths;        // number of paths of the map that are left
};

// The views reach into the message. None: not an event of the kernel (udev's own begin with "libudev").
std::optional<Uevent> parseUevent(std::string_view message);

// The map of volumes as a tree, and what a disk holds as one short text.
#pragma once

#include "view/areas.h"

#include <memory>
#include <string>
#include <string_view>

void showVolumes(const Interval& interval, const View& view, Page& page);

struct DeviceMap;

// What disks hold. A machine can have thousands of devices, so the map is made once for all of them.
class Holdings {
    std::unique_ptr<const DeviceMap> map;

public:
    // The rows of `interval` must stay as they are as long as this lives.
    explicit Holdings(const Interval& interval);
    Holdings(Holdings&&) noexcept;
    Holdings& operator=(Holdings&&) noexcept;
    ~Holdings();
    // What stands on the device "8:16" and is used: "p1 /boot/efi, vg_sys: root /". Empty: nothing, or not known.
    std::string of(std::string_view dev) const;
};

// The map of volumes as a tree, and what a disk holds as one short text.
#pragma once

#include "view/areas.h"

#include <string>
#include <string_view>

void showVolumes(const Interval& interval, const View& view, Page& page);

// What stands on the device "8:16" and is used: "p1 /boot/efi, vg_sys: root /". Empty: nothing, or not known.
std::string holds(const Interval& interval, std::string_view dev);

// Control groups.
#pragma once

#include "view/areas.h"

void showCgroups(const Interval& interval, const View& view, Page& page);
// What --sort can be.
std::span<const std::string_view> cgroupSorts();

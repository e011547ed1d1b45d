// Block devices.
#pragma once

#include "view/areas.h"
#include "view/extremes.h"

void showDisks(const Interval& interval, const View& view, Page& page);
// The cells of the line for all disks.
CellValues diskFigures(const Interval& interval);
// What --sort can be.
std::span<const std::string_view> diskSorts();

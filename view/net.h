// Network interfaces.
#pragma once

#include "view/areas.h"
#include "view/extremes.h"

void showNet(const Interval& interval, const View& view, Page& page);
// The cells of the line for all interfaces.
CellValues netFigures(const Interval& interval);
// What --sort can be.
std::span<const std::string_view> netSorts();

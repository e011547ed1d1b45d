// Memory, and how long tasks waited for CPU, memory and I/O.
#pragma once

#include "view/areas.h"
#include "view/extremes.h"

void showMemory(const Interval& interval, const View& view, Page& page);
// The cells of the MEM table.
CellValues memoryFigures(const Interval& interval);
void showPressure(const Interval& interval, const View& view, Page& page);

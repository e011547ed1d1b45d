// CPU and scheduler, of the machine and of each core.
#pragma once

#include "view/areas.h"
#include "view/extremes.h"

void showCpu(const Interval& interval, const View& view, Page& page);
// The cells of the CPU table.
CellValues cpuFigures(const Interval& interval);
void showCores(const Interval& interval, const View& view, Page& page);

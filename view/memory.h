// Memory, and how long tasks waited for CPU, memory and I/O.
#pragma once

#include "view/areas.h"

void showMemory(const Interval& interval, const View& view, Page& page);
void showPressure(const Interval& interval, const View& view, Page& page);

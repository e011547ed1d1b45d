// CPU and scheduler, of the machine and of each core.
#pragma once

#include "view/areas.h"

void showCpu(const Interval& interval, const View& view, Page& page);
void showCores(const Interval& interval, const View& view, Page& page);

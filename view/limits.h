// How near the limits are.
#pragma once

#include "view/areas.h"

void showLimits(const Interval& interval, const View& view, Page& page);

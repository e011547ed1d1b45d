// Control groups.
#pragma once

#include "view/areas.h"

void showCgroups(const Interval& interval, const View& view, Page& page);

// Block devices.
#pragma once

#include "view/areas.h"

void showDisks(const Interval& interval, const View& view, Page& page);

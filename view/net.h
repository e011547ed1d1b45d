// Network interfaces.
#pragma once

#include "view/areas.h"

void showNet(const Interval& interval, const View& view, Page& page);

// The cost of wyrt itself.
#pragma once

#include "view/areas.h"

void showSelf(const Interval& interval, const View& view, Page& page);

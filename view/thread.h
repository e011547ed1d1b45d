// Threads that ran or waited.
#pragma once

#include "view/areas.h"

void showThreads(const Interval& interval, const View& view, Page& page);

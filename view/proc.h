// Processes: a table of those that did something, of all as a tree, or of their sums.
#pragma once

#include "view/areas.h"

void showProcesses(const Interval& interval, const View& view, Page& page);

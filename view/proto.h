// Counters of the network protocols.
#pragma once

#include "view/areas.h"

void showProtocols(const Interval& interval, const View& view, Page& page);

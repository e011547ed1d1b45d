// The tables of sockets.
#pragma once

#include "view/areas.h"

void showSockets(const Interval& interval, const View& view, Page& page);

// The tables of sockets.
#pragma once

#include "view/areas.h"

void showSockets(const Interval& interval, const View& view, Page& page);
// What --sort can be.
std::span<const std::string_view> socketSorts();

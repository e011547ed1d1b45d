// Threads that ran or waited.
#pragma once

#include "view/areas.h"

void showThreads(const Interval& interval, const View& view, Page& page);
// What --sort can be.
std::span<const std::string_view> threadSorts();

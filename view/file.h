// Open files that moved or were written.
#pragma once

#include "view/areas.h"

void showFiles(const Interval& interval, const View& view, Page& page);
// What --sort can be.
std::span<const std::string_view> fileSorts();

// What began and ended: how many, whose children, and how they ended.
#pragma once

#include "view/areas.h"

void showChurn(const Interval& interval, const View& view, Page& page);
// What --sort can be.
std::span<const std::string_view> churnSorts();

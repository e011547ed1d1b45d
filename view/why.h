// What is under pressure, who did it, who suffers, and until when.
#pragma once

#include "view/areas.h"

void showWhy(const Interval& interval, const View& view, Page& page);
// The same in one line, for the top of the usual tables; nothing when the interval has not been judged.
void showWhyLine(const Interval& interval, Page& page);

// Filesystems.
#pragma once

#include "view/areas.h"

void showFilesystems(const Interval& interval, const View& view, Page& page);

// How near the limits are at the end of an interval.
#pragma once

#include "record/limits.h"
#include "record/rows.h"
#include "sample/limits.h"

// Limits have rows when their use changed, when they are near, and the nearest one always; all of them when `complete`.
// Without a sample before there are no rows.
void limitRows(const LimitSample* before, const LimitSample& now, bool complete, Rows<LimitRow>& rows);

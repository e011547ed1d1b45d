// Pressure of an interval.
#pragma once

#include "record/pressure.h"
#include "record/rows.h"
#include "sample/pressure.h"

// `before` null: there is no previous sample, and no row.
void pressureRows(const PressureSample* before, const PressureSample& now, Rows<PressureRow>& rows);

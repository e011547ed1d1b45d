// CPU time of an interval.
#pragma once

#include "record/cpu.h"
#include "record/rows.h"
#include "sample/cpu.h"

// `before` null: there is no previous sample; levels only.
void cpuRows(const CpuSample* before, const CpuSample& now, Rows<CpuRow>& rows);
// A core that was offline in one of the samples has no amounts.
void coreRows(const CpuSample* before, const CpuSample& now, Rows<CoreRow>& rows);

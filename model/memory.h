// Memory of an interval.
#pragma once

#include "record/memory.h"
#include "record/rows.h"
#include "sample/memory.h"

// `before` null: there is no previous sample; levels only.
void memoryRows(const MemorySample* before, const MemorySample& now, Rows<MemoryRow>& rows);
// The memory of each node, where there are several.
void nodeRows(const MemorySample& now, Rows<NodeRow>& rows);

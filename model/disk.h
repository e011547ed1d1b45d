// What the disks did in an interval.
#pragma once

#include "record/disk.h"
#include "record/rows.h"
#include "sample/disk.h"

// `complete`: idle disks have rows, too. Otherwise only those that did something or have requests under way; ram disks
// without transfers never have one. Without a sample before there are no rows.
void diskRows(const DiskSample* before, const DiskSample& now, bool complete, Rows<DiskRow>& disks,
              Rows<DisksRow>& all);

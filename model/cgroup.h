// What the control groups did in an interval.
#pragma once

#include "record/cgroup.h"
#include "record/rows.h"
#include "sample/cgroup.h"

// `complete`: idle groups have rows, too. Otherwise only those that did something or whose levels changed. After the
// first pass there are no rows. The sample has both of its readings of a group.
void cgroupRows(const CgroupSample& sample, bool complete, Rows<CgroupsRow>& all, Rows<CgroupRow>& groups,
                Rows<CgroupIoRow>& devices);

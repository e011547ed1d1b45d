// What the filesystems hold, and how it changed.
#pragma once

#include "record/fs.h"
#include "record/rows.h"
#include "sample/fs.h"

// `complete`: quiet filesystems have rows, too. Without a sample before there are no rows.
void fsRows(const FsSample* before, const FsSample& now, bool complete, Rows<FsRow>& filesystems,
            Rows<FsTotalRow>& all);

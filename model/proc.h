// The rows of processes, and of those that began and ended, from the last two times that each was read.
#pragma once

#include "record/churn.h"
#include "record/proc.h"
#include "record/rows.h"
#include "sample/hidden.h"
#include "sample/proc.h"

#include <span>

// `complete`: those that did not run have rows, too. `shown` marks entries that have rows in any case.
void processRows(const ProcSample& sample, bool complete, Rows<ProcsRow>& all, Rows<ProcRow>& processes,
                 Rows<StartRow>& starts, Rows<ExitRow>& exits, std::span<const char> shown = {});
// Adds to the row of all processes how many threads there are besides theirs.
void hiddenThreads(const HiddenSample& sample, Rows<ProcsRow>& all);

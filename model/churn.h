// What ended: codes and signals of processes that a sample saw, and sums over those that lived and died between two.
#pragma once

#include "record/churn.h"
#include "record/proc.h"
#include "record/rows.h"
#include "sample/churn.h"
#include "sample/proc.h"

#include <vector>

// Reports of processes that the last sample still had: they had just ended, or nobody has waited for them yet.
using WaitingReports = std::vector<EndedProcess>;

// `exits` has the rows of those that a sample saw; `processes` those that ran.
void churnRows(const ChurnSample& now, const ProcSample& known, const Rows<ProcRow>& processes, WaitingReports& waiting,
               Rows<ExitRow>& exits, Rows<ChurnsRow>& all, Rows<ChurnRow>& churn);

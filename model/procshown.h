// Processes that did nothing and have rows nevertheless, because the tables show them.
#pragma once

#include "record/host.h"
#include "sample/proc.h"

#include <vector>

// Marks, by their places in `sample.entries`: with a sort by a level the largest by it, which may be idle; for a tree
// those above the ones that did something.
void markShown(const ProcSample& sample, const ViewRow& asked, std::vector<char>& shown);

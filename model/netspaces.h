// What the interfaces of other network namespaces did since they were read last.
#pragma once

#include "record/net.h"
#include "record/rows.h"
#include "sample/netspaces.h"
#include "sample/proc.h"

// `complete`: interfaces without traffic have rows, too, if their namespace was read.
void netSpaceRows(const NetSpaceSample& sample, const ProcSample& processes, bool complete, Rows<SpaceLinkRow>& to);

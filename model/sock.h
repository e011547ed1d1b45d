// Rows of sockets, their namespaces and listeners.
#pragma once

#include "record/interval.h"
#include "sample/proc.h"
#include "sample/sock.h"

// Whose a network namespace is: the unit, or the name, of one of its processes; empty: it is not known.
std::string spaceNameOf(uint32_t pid, const ProcSample& processes);

// What happened to sockets since the pass before. `asked` tells which sockets the tables are to show. Adds their bytes
// to the rows of processes, and the local ports to the limits.
void sockRows(const SockSample& sample, const ProcSample& processes, const ViewRow& asked, Interval& interval);

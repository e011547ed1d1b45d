// Rows of listeners.
#pragma once

#include "model/sock.h"

// Those in trouble; all of them where the interval is complete.
void listenRows(const SockSample& sample, const ProcSample& processes, Interval& interval);

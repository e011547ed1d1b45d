// Counters of the network protocols that moved in an interval.
#pragma once

#include "record/proto.h"
#include "record/rows.h"
#include "sample/proto.h"

// Counters have rows when they moved; levels when they changed, and all of them when `complete`. Without a sample
// before there are no rows.
void protocolRows(const ProtocolSample* before, const ProtocolSample& now, bool complete, Rows<ProtocolsRow>& all,
                  Rows<ProtocolRow>& rows);

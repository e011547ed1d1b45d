// What the first line of every screen says of the machine.
#pragma once

#include "record/host.h"
#include "record/rows.h"
#include "sample/host.h"

// `before` null: there is no sample before.
void hostRows(const HostSample* before, const HostSample& now, Rows<HostRow>& rows);

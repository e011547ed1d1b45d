// What the network interfaces did in an interval, and what they are.
#pragma once

#include "record/net.h"
#include "record/rows.h"
#include "sample/net.h"

// `complete`: all interfaces and addresses have rows. Otherwise only interfaces with packets or errors, or which are
// not what they were, and addresses that came or went. Without a sample before there are no rows.
void netRows(const NetSample* before, const NetSample& now, bool complete, Rows<LinkRow>& links, Rows<LinksRow>& all,
             Rows<AddressRow>& addresses);

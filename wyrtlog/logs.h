// The logs that a command reads, one after the other.
#pragma once

#include "record/log.h"
#include "wyrtlog/options.h"

#include <functional>
#include <string>

// Calls f(reader, found, interval) for all that each log holds, its Torn or End included; f says whether to go on.
// Returns an exit status: a log that cannot be read is a line on standard error, and the next one is read.
using OnFound = std::function<bool(const LogReader& reader, LogReader::Found found, Interval& interval)>;
int eachFound(const Asked& asked, const OnFound& onFound);

// The options of commands that feed stores of time series: --by, --top, --all-rows.
#pragma once

#include "wyrtlog/metrics.h"
#include "wyrtlog/options.h"

#include <string>

// Sets what they ask for, of series that go on for ever. Returns why they cannot be used; empty: they can.
std::string takeSeriesOptions(const Asked& asked, SeriesChoice& series);

// live and record: samples on a grid of time, tables and a log made of them.
#pragma once

#include "wyrt/settings.h"

// The exit status.
int runLive(const Settings& settings);
int runRecord(const Settings& settings);

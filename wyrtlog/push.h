// wyrt push: sends what a recorder writes to a store of time series, and goes on where it was after a restart.
#pragma once

#include "wyrtlog/options.h"

// Exit status.
int push(const Asked& asked);

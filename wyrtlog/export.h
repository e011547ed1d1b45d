// wyrt export: what a log holds, for other programs.
#pragma once

#include "wyrtlog/options.h"

// Exit status.
int exportLog(const Asked& asked);

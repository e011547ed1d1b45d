// wyrt info: what a log holds.
#pragma once

#include "wyrtlog/options.h"

// Exit status.
int info(const Asked& asked);

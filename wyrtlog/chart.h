// wyrt chart: a page to look at.
#pragma once

#include "wyrtlog/options.h"

// Exit status.
int chart(const Asked& asked);

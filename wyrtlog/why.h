// wyrt why: what was under pressure in a log or a span of it, who did it, and who suffered.
#pragma once

#include "wyrtlog/options.h"

// Exit status.
int why(const Asked& asked);

// wyrt serve: the figures of a log that grows, for those who ask for them over HTTP.
#pragma once

#include "wyrtlog/options.h"

// Exit status.
int serve(const Asked& asked);

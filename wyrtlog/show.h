// wyrt show: the tables of a log.
#pragma once

#include "wyrtlog/options.h"

// Exit status.
int show(const Asked& asked);

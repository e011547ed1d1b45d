// wyrt check: what can be seen here, where it comes from, and what would unlock the rest.
#pragma once

#include "wyrt/settings.h"

#include <string>

// A line for each asked area.
std::string checkText(const Settings& settings);
// Prints them: the exit status.
int runCheck(const Settings& settings);

// Directories of the made-up machine that stand open: tests/world/door.cpp keeps them.
#pragma once

#include "base/door.h"

#include <string>

// The path of a name that is looked up in a place.
std::string below(const Place& at, const char* name);
// A handle for the directory; -1: there is none, and errno tells why.
int openPlace(const std::string& name);
void closePlace(int handle);
std::string placePath(int handle);

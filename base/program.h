// Another program in this one's place. Part of the door: base/door/program.cpp is the real one.
#pragma once

#include <string>

// The path of the running program; empty when it cannot be told.
std::string ownPath();

// Becomes the program at `path`, or the one that PATH finds where it has no slash, with these arguments (the first is
// its own name, the last is null). Returns only when that fails: errno.
int becomeProgram(const char* path, char* const argv[]);

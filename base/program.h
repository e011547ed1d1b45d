// This program as a process, and others that it becomes or starts. Part of the door: base/door/program.cpp is the real
// one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// The path of the running program; empty when it cannot be found out.
std::string ownPath();

// Replaces this program by the one at `path` (without a slash: the one that PATH finds). The first argument is its own
// name, the last is null. Returns only when that fails, with errno as the result.
int becomeProgram(const char* path, char* const argv[]);

// Starts a process that ends at once, and waits for its end. Its pid; none: there was no room for a process.
std::optional<int> endedChild();

// Keeps this program's memory from being swapped out, as it is touched. False where that is not allowed.
bool lockMemory();
// Large pieces of memory go back to the system as soon as they are free, from now on; the C library would keep them for
// later ones after it has seen some.
void keepNoLargeMemory();
// Gives all memory that is free within the program back to the system, where the C library can.
void giveBackMemory();

// As many files as are wanted may be open from now on, or as many as the limits allow, which it returns.
uint64_t allowDescriptors(uint64_t wanted);

// Whether work may be done in threads of its own: not on a made-up machine, whose runs are the same each time.
bool mayRunThreads();

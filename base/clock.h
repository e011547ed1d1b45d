// Clocks. Spans of time come from the monotonic clock alone; the realtime clock only names a moment.
#pragma once

#include <cstdint>
#include <optional>

int64_t getMonotonic(); // microseconds; stands still while the machine sleeps
int64_t getBoottime();  // microseconds; goes on while the machine sleeps
int64_t getRealtime();  // milliseconds since 1970; people and time servers set it

// The CPU time of a process and all its threads, ended ones included, in nanoseconds; none: there is no such process.
// It needs no right. A reused pid is another process: when the clock has changed, compare the start time, too.
std::optional<uint64_t> getCpuClock(int pid);
// Whether getCpuClock's numbers are those of /proc: not in a pid namespace that sees the /proc of another one.
bool cpuClocksMatchProc();
// The CPU time of this program, in nanoseconds, without its helpers.
uint64_t getOwnCpu();
// The pid of this program as /proc of this machine has it.
int getOwnPid();

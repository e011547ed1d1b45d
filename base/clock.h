// Clocks. All spans of time come from the monotonic clock; the realtime clock only tells the date and time.
#pragma once

#include <cstdint>
#include <optional>

int64_t getMonotonic(); // microseconds; stops while the machine sleeps
int64_t getBoottime();  // microseconds; goes on while the machine sleeps
int64_t getRealtime();  // milliseconds since 1970; people and time servers set it

// The CPU time of a process and all its threads, ended ones included, in nanoseconds; none: there is no such process.
// It needs no privilege. A reused pid is another process, so compare the start time, too, when the clock has changed.
std::optional<uint64_t> getCpuClock(int pid);
// Whether getCpuClock uses the same pids as /proc. It does not when /proc is that of another pid namespace.
bool cpuClocksMatchProc();
// The CPU time of this program, in nanoseconds, without its helpers.
uint64_t getOwnCpu();
// The pid of this program as /proc of this machine has it.
int getOwnPid();

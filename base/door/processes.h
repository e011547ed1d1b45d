// Shared by worker and tool: a child process without our descriptors.
#pragma once

// Closes every descriptor from `first` on.
void closeFrom(int first);
// Kills the process, and waits for it if it has ended already. Does not wait for a process that hangs in the kernel.
void killAndLeave(int pid);
// True when the process has ended; `status` is as from waitpid.
bool hasEnded(int pid, int& status);

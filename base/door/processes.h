// What worker and tool share: a child process without anything of ours.
#pragma once

// Closes every descriptor from `first` on.
void closeFrom(int first);
// Kills the process and takes its end in, if it has come already; whoever hangs in the kernel is left alone.
void killAndLeave(int pid);
// True when the process has ended; `status` is as waitpid has it.
bool hasEnded(int pid, int& status);

// What those share that start child processes.
#pragma once

#include <cerrno>
#include <span>
#include <string>
#include <vector>

#include <unistd.h>

// The words as exec takes them, with a null at the end. They stay those of the caller.
std::vector<char*> argumentsOf(std::span<const std::string> words);
// In a child: a recorder may be the last that the kernel kills for want of memory; what works for it is not.
void beKillable();
// Forks. The child is killable and calls `be`, which does not return, with ends[1]; the parent keeps ends[0], or none
// of them when there is no child. Returns the child's pid, or -1 with errno.
template <typename Be> int forkWith(int (&ends)[2], const Be& be) {
    const pid_t child = fork();
    if (child == 0) beKillable(), be();
    const int error = errno;
    close(ends[1]);
    if (child < 0) close(ends[0]), errno = error;
    return child;
}

// Closes every descriptor from `first` on.
void closeFrom(int first);
// True when the process has ended; `status` is as from waitpid.
bool hasEnded(int pid, int& status);
// Of a status of waitpid what a shell reports: 128 and the signal, or what the process returned.
int shellStatus(int status);

// The switches of the command line that collectors obey, and constants of the machine. Options and start-up
// (classic/monitor/) set them. Only the times change while the loop runs.
#pragma once

#include <cstdint>

extern int ThreadMonitoring; // 1: the threads of processes are read
extern int FDMonitoring;     // 1: the open descriptors of processes are read
extern int netdebug;         // 1: messages say which sockets kept their owners
extern int proc_io_file;     // 1: /proc/PID/io can be read

extern double timediff;     // seconds between the start of the previous pass and the start of this one
extern double time4mapping; // seconds that building and printing the volume map took; 0 again after a ratio pause
extern double time4ip;      // seconds that interface addresses took: always 0

extern int64_t g_boottime; // seconds since the epoch
extern int pagesize;       // bytes
extern int clocktick;      // ticks per second

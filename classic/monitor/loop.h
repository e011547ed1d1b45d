// The run: start-up, the sampling loop, the end.
#pragma once

// Runs the classic form; returns the exit status.
int monitor(int argc, char** argv);

// The pause, in microseconds, after which `elapsed` seconds of work are `percent` of the time: 0.1 s to 10 s.
unsigned getRatioPause(double elapsed, int percent);

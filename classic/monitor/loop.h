// The run: start-up, the sampling loop, the end.
#pragma once

// The whole program: exit status.
int monitor(int argc, char** argv);

// The pause with which `elapsed` seconds of work take `percent` of the time, in microseconds: 0.1 s to 10 s.
unsigned getRatioPause(double elapsed, int percent);

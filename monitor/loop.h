// The run: start-up, the sampling loop, the end.
#pragma once

// The whole program: exit status.
int monitor(int argc, char** argv);

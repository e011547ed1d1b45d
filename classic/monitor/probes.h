// Finds out which kernel files this run can read.
#pragma once

// Tries the kernel files that not every system or user can read. For each that is missing it prints a note and switches
// off what needs it.
void probeKernel();

// What the kernel lets this run read.
#pragma once

// Tries the kernel files that not every system or user can read. What is missing is told and switched off.
void probeKernel();

// The network namespace that a process is in.
#pragma once

#include "base/door.h"

#include <cstdint>

// The inode number of its namespace, from the link PID/ns/net below `proc`. 0: it cannot be read; errno has the reason.
uint32_t netnsOf(const Place& proc, uint32_t pid);

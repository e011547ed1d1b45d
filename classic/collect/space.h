// The space of a mounted filesystem, as the volume map and the filesystem report show it.
#pragma once

#include "base/door.h"

// The figures of a filesystem, or what they changed by per second.
struct TSizes {
    double totalsize = 0, freesize = 0, availsize = 0; // bytes; available: to users other than root
    double totalinode = 0, freeinode = 0;
};

// The kernel's block counts in bytes.
TSizes getSizes(const TSpace& space);

// Whether the kernel reports to this program each process that ends.
#pragma once

#include "base/root.h"

// Why it does not.
enum class NoReports {
    None,     // it does
    Unknown,  // it has no taskstats of a known form
    Refused,  // not allowed
    Silent,   // it agreed and reports nothing: this is another network or pid namespace
    OtherRoot // there are only files
};

// Tries it. For `wyrt check`; a sampler tries it itself.
NoReports tryReports(const Root& root);

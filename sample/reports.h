// Whether the kernel reports to this program each process that ends.
#pragma once

#include "base/root.h"

// Why it does not.
enum class NoReports {
    None,           // it does
    Unknown,        // it has no taskstats of a known form
    Refused,        // not allowed
    OtherNamespace, // they come in the first network, pid and user namespace only
    OtherRoot       // there are only files
};

// Tries it. For `wyrt check`; a sampler tries it itself.
NoReports tryReports(const Root& root);

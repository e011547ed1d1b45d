// Who wants to know, besides the intervals, when there are no more for now.
#pragma once

#include "base/wait.h"

class Watcher {
public:
    Watcher() = default;
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;
    virtual ~Watcher() = default;

    // All that there is was given out; what comes later is waited for, and this is asked again and again meanwhile.
    // False: it is enough.
    virtual bool idle() = 0;
    // The signals that end the waiting, where the watcher has them already.
    virtual Signals* signals() { return nullptr; }
};

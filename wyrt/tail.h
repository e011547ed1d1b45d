// The end of a log that a recorder goes on with: an interval that was cut short, by a crash or a full disk, is removed.
// Nothing else is: what no recorder of this format leaves may be all that somebody has.
#pragma once

#include <string>

enum class Tail {
    Whole, // nothing was to be done, or there is no such file yet; pipes and devices have no tail
    Cut,   // what followed the last END is gone: one interval, or a part of it
    Aside, // it has no END, or something else after the last one, and was renamed, which was said; the path is free
    NoLog, // the file is something else, and was left as it is
    Error, // it cannot be read, cut or renamed; errno tells why
};
Tail mendTail(const std::string& path);

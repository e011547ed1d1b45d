// The end of a log that a recorder goes on with: an interval that was cut short, by a crash or a full disk, is removed.
#pragma once

#include <string>

enum class Tail {
    Whole, // nothing was to be done, or there is no such file yet; pipes and devices have no tail
    Cut,   // what followed the last END is gone
    NoLog, // the file is something else, and was left as it is
    Error, // it cannot be read or cut; errno tells why
};
Tail mendTail(const std::string& path);

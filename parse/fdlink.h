// The target of a link /proc/PID/fd/FD.
#pragma once

#include <cstdint>
#include <string_view>

struct FDLink {
    enum class Kind { Other = 0, Socket = 1, Pipe = 2, Anonymous = 3 }; // Other: a path, mostly
    Kind kind = Kind::Other;
    int64_t inode = 0; // of a socket or pipe
};

// "socket:[4711]", "pipe:[99]", "anon_inode:[eventpoll]", "/dev/null"
FDLink parseFDLink(std::string_view target);

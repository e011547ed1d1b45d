// What a blocked task waits for, by the function of the kernel in which it is blocked (/proc/PID/wchan).
#pragma once

#include <string_view>

struct Wait {
    enum class For { Unknown, Disk, Server };
    For what = For::Unknown;
    std::string_view protocol; // of a server: NFS
};
Wait waitIn(std::string_view function);
// The protocol by which somebody serves filesystems of this type, "nfs4"; empty: nobody does.
std::string_view protocolOf(std::string_view type);

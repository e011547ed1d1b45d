// The kernel's information about itself and the machine.
#pragma once

#include <string>

struct Host {
    std::string name;    // as from uname, not resolved
    std::string release; // of the kernel, 6.1.0-18-amd64
    std::string machine; // x86_64
};
Host getHost();

// What the kernel says of itself and of the machine.
#pragma once

#include <string>

struct Host {
    std::string name;    // as uname has it, not resolved
    std::string release; // of the kernel, 6.1.0-18-amd64
    std::string machine; // x86_64
};
Host getHost();

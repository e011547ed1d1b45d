// The names of network namespaces: those that people gave them by `ip netns add NAME`.
#pragma once

#include "base/held.h"
#include "base/root.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class NetnsNames {
    struct Name {
        uint32_t inode = 0;
        std::string name;
    };
    HeldFile table;
    std::vector<Name> names; // by inode
    bool known = false;

    void add(std::string_view line);

public:
    explicit NetnsNames(const Root& root) : table(root, "/proc/self/mountinfo") {}
    // Reads the mount table again when the kernel has announced a change. A name is a mount: the namespace's own file,
    // bound to /run/netns/NAME. So nothing there is opened or asked.
    void renew();
    // Empty: it has no name. Of several names the first in the alphabet.
    std::string_view find(uint32_t inode) const;
};

// What an interface is, and whether its traffic counts for the machine.
#pragma once

#include "parse/link.h"

#include <cstdint>
#include <optional>
#include <vector>

struct LinkFacts : Link {
    std::optional<uint64_t> speed; // bits per second
    bool numbered = true;          // `index` is the kernel's number
    bool counted = false;          // part of the total
};

// The link of this number, of those by index; null: there is none.
const LinkFacts* findLink(const std::vector<LinkFacts>& links, uint32_t index);
// Marks the interfaces whose traffic makes the total. Hardware counts, and what stands on it, joins it or is made of
// nothing (bonds, bridges, vlans, tunnels, veths) does not. Without hardware, as in a container, those count that
// stand on no other interface here and are part of none.
void markCounted(std::vector<LinkFacts>& links);

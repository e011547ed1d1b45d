// The speeds of interfaces, which a helper asks their drivers for.
#pragma once

#include "base/helper.h"
#include "parse/link.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

class LinkSpeeds {
    struct Speed {
        std::string name; // of the interface when it was asked
        std::optional<uint32_t> carrier_changes;
        Helper::Ticket ticket = 0;
        std::optional<uint64_t> bits;
    };
    Helper& helper;
    std::map<uint32_t, Speed> speeds; // by index

public:
    explicit LinkSpeeds(Helper& asked) : helper(asked) {}
    // Once for each interface that is up, and again when it changes.
    void ask(const Link& link);
    // Takes what has been answered.
    void take();
    // Bits a second; none: not known.
    std::optional<uint64_t> of(uint32_t index) const;
    // The interface is gone.
    void forget(uint32_t index);
};

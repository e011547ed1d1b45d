// Keeps the map's sample current: what may have changed is read again, and nothing else.
#pragma once

#include "base/held.h"
#include "base/helper.h"
#include "base/netlink.h"
#include "sample/volumes.h"

#include <cstdint>
#include <optional>
#include <string>

class VolumeSampler {
    Root root;
    Netlink events; // uevents of the kernel
    HeldFile mounts, swaps, partitions, raids;
    std::string known; // the text of /proc/partitions, looked at where uevents cannot be had
    uint64_t lost = 0; // uevents that came too late to be taken
    uint64_t samples = 0;
    bool askMaps = false;   // what multipathd says is not known, or has changed
    bool askGroups = false; // the same of vgs
    Helper::Ticket ticket = 0, groupsTicket = 0;
    Helper& helper;
    Contents text;

    void start();
    bool takeNews();
    bool partitionsChanged();
    bool raidsChanged();
    void readAll();
    std::optional<std::string> takeOutput(Helper::Ticket& asked);
    bool askMultipathd();
    bool askLvm();

public:
    VolumeSample now;
    VolumeSampler(const Root& where, Helper& asked) : root(where), helper(asked) {}
    // True: something is not as it was in the previous sample. The first one asks no tool.
    bool sample();
    uint64_t notAllowed() const { return text.denied + now.denied; }
    int handle() const { return events.handle(); } // to be watched during a pause
};

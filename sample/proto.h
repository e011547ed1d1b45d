// Counters of the network protocols, of the program's own network namespace.
#pragma once

#include "base/held.h"
#include "base/root.h"
#include "parse/protocols.h"

#include <cstdint>

struct ProtocolSample {
    int64_t at_us = 0; // monotonic
    bool hasSnmp = false, hasNetstat = false, hasSnmp6 = false;
    ProtocolCounters counters;
};

class ProtocolSampler {
    HeldFile snmp, netstat, snmp6;
    Contents text;

public:
    explicit ProtocolSampler(const Root& root);
    void sample(ProtocolSample& now);
    uint64_t notAllowed() const { return text.denied; }
};

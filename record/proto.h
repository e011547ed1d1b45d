// Counters of the network protocols (PROTO), and how many there are (PROTOS).
#pragma once

#include "record/kind.h"

#include <cstdint>
#include <optional>
#include <string>

struct ProtocolRow {
    std::string protocol, name;     // Tcp, RetransSegs
    std::optional<uint64_t> amount; // empty for a level
    std::optional<int64_t> value;   // of a level: a setting, or how many there are; -1: without a limit
};
inline constexpr auto ProtocolKind =
    kind<ProtocolRow>("PROTO", id("protocol", &ProtocolRow::protocol), id("name", &ProtocolRow::name),
                      amount("amount", "", &ProtocolRow::amount), level("value", "", &ProtocolRow::value));

// All counters.
struct ProtocolsRow {
    uint64_t counters = 0; // levels included
    uint64_t moved = 0;    // of them, in the interval
};
inline constexpr auto ProtocolsKind = kind<ProtocolsRow>("PROTOS", level("counters", "", &ProtocolsRow::counters),
                                                         level("moved", "", &ProtocolsRow::moved));

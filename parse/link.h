// Network interfaces and their addresses, from messages of rtnetlink.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Since the interface was made; some drivers reset them.
struct LinkCounters {
    uint64_t rx_bytes = 0, tx_bytes = 0, rx_packets = 0, tx_packets = 0, rx_errors = 0, tx_errors = 0;
    uint64_t rx_dropped = 0, tx_dropped = 0, multicast = 0, collisions = 0;
    // Errors by cause. Packets that a full ring could not take are in rx_missed alone, neither errors nor drops.
    uint64_t rx_length = 0, rx_over = 0, rx_crc = 0, rx_frame = 0, rx_fifo = 0, rx_missed = 0;
    uint64_t tx_aborted = 0, tx_carrier = 0, tx_fifo = 0, tx_heartbeat = 0, tx_window = 0;
    uint64_t rx_nohandler = 0; // arrived at an interface that takes none, such as the idle half of a bond
};

struct Link {
    uint32_t index = 0, master = 0, mtu = 0, flags = 0;
    uint32_t lower = 0;        // the interface it stands on; of a veth its other end
    bool lower_abroad = false; // which is in another network namespace
    uint8_t state = 0;         // IF_OPER_UP ...
    std::string name, kind;    // eth0; "bond", "vlan", "veth" ..., empty for hardware
    std::optional<uint32_t> carrier_changes;
    std::optional<LinkCounters> counters;
};

// The payload of RTM_NEWLINK or RTM_DELLINK. None: it is cut, or about something else (bridges send their ports so).
std::optional<Link> parseLink(std::string_view payload);
// The payload of RTM_NEWSTATS. False: it has no counters of an interface.
bool parseLinkCounters(std::string_view payload, uint32_t& index, LinkCounters& counters);

struct Address {
    uint32_t index = 0; // of its interface
    uint8_t family = 0; // AF_INET, AF_INET6
    uint8_t prefix = 0;
    uint8_t scope = 0; // RT_SCOPE_UNIVERSE ...
    std::string text;  // 10.2.0.7
    auto operator<=>(const Address&) const = default;
};
// The payload of RTM_NEWADDR. None: it is cut, or an address of another family.
std::optional<Address> parseAddress(std::string_view payload);

// "up", "down", "unknown" ..., as `ip` prints it in capitals.
std::string_view stateName(uint8_t state);
// "global", "link", "host" ...; empty for numbers without a name.
std::string_view scopeName(uint8_t scope);

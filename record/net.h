// Network interfaces (LINK), those of other network namespaces (NSLINK), their addresses (ADDR), and all interfaces
// together (LINKS).
#pragma once

#include "record/kind.h"

#include <cstdint>
#include <optional>
#include <string>

struct LinkTraffic {
    std::optional<uint64_t> rx_bytes, tx_bytes, rx_packets, tx_packets, rx_errors, tx_errors;
    std::optional<uint64_t> rx_dropped, tx_dropped; // rx: those included that a full ring could not take
};

struct LinkRow : LinkTraffic {
    std::optional<uint64_t> index; // the kernel's number, which stays when the name changes
    std::string name;              // eth0
    std::string kind;              // bond, vlan, bridge, veth ...; empty for hardware
    std::string state;             // up, down, unknown ...
    std::string master;            // the bond or bridge that it is part of
    std::string addresses;         // with a blank between them; those of link scope only where there is no other
    bool counted = false;          // part of LINKS: others carry the same packets
    std::optional<uint64_t> mtu;   // bytes
    std::optional<uint64_t> speed; // bits per second, where the driver knows it
    std::optional<uint64_t> multicast, collisions, carrier_changes;
    // Errors and drops by cause; empty where only /proc/net/dev tells.
    std::optional<uint64_t> rx_length, rx_over, rx_crc, rx_frame, rx_fifo, rx_missed, rx_nohandler;
    std::optional<uint64_t> tx_aborted, tx_carrier, tx_fifo, tx_heartbeat, tx_window;
};
inline constexpr auto LinkKind = kind<LinkRow>(
    "LINK", id("index", &LinkRow::index), id("name", &LinkRow::name), label("kind", &LinkRow::kind),
    label("state", &LinkRow::state), label("master", &LinkRow::master), label("addresses", &LinkRow::addresses),
    level("counted", "", &LinkRow::counted), level("mtu", "B", &LinkRow::mtu), level("speed", "bit/s", &LinkRow::speed),
    amount("rx_bytes", "B", &LinkRow::rx_bytes), amount("tx_bytes", "B", &LinkRow::tx_bytes),
    amount("rx_packets", "", &LinkRow::rx_packets), amount("tx_packets", "", &LinkRow::tx_packets),
    amount("rx_errors", "", &LinkRow::rx_errors), amount("tx_errors", "", &LinkRow::tx_errors),
    amount("rx_dropped", "", &LinkRow::rx_dropped), amount("tx_dropped", "", &LinkRow::tx_dropped),
    amount("multicast", "", &LinkRow::multicast), amount("collisions", "", &LinkRow::collisions),
    amount("carrier_changes", "", &LinkRow::carrier_changes), amount("rx_length", "", &LinkRow::rx_length),
    amount("rx_over", "", &LinkRow::rx_over), amount("rx_crc", "", &LinkRow::rx_crc),
    amount("rx_frame", "", &LinkRow::rx_frame), amount("rx_fifo", "", &LinkRow::rx_fifo),
    amount("rx_missed", "", &LinkRow::rx_missed), amount("rx_nohandler", "", &LinkRow::rx_nohandler),
    amount("tx_aborted", "", &LinkRow::tx_aborted), amount("tx_carrier", "", &LinkRow::tx_carrier),
    amount("tx_fifo", "", &LinkRow::tx_fifo), amount("tx_heartbeat", "", &LinkRow::tx_heartbeat),
    amount("tx_window", "", &LinkRow::tx_window));

// An interface of a network namespace that wyrt does not run in. A few namespaces are read in a sample, so each row has
// a span of its own.
struct SpaceLinkRow : LinkTraffic {
    uint64_t netns = 0;              // inode of the namespace
    std::string name;                // of the interface
    std::string space;               // its name, or the container, pod, unit or process that it belongs to
    std::optional<uint64_t> span_us; // since the namespace was read last: the traffic's time
};
inline constexpr auto SpaceLinkKind = kind<SpaceLinkRow>(
    "NSLINK", id("netns", &SpaceLinkRow::netns), id("name", &SpaceLinkRow::name), label("space", &SpaceLinkRow::space),
    amount("span", "us", &SpaceLinkRow::span_us), amount("rx_bytes", "B", &SpaceLinkRow::rx_bytes),
    amount("tx_bytes", "B", &SpaceLinkRow::tx_bytes), amount("rx_packets", "", &SpaceLinkRow::rx_packets),
    amount("tx_packets", "", &SpaceLinkRow::tx_packets), amount("rx_errors", "", &SpaceLinkRow::rx_errors),
    amount("tx_errors", "", &SpaceLinkRow::tx_errors), amount("rx_dropped", "", &SpaceLinkRow::rx_dropped),
    amount("tx_dropped", "", &SpaceLinkRow::tx_dropped));

// The packets that entered and left the machine: without loopback, and each counted at one interface only.
struct LinksRow : LinkTraffic {
    uint64_t links = 0;   // interfaces
    uint64_t idle = 0;    // of them, without traffic, errors and drops
    uint64_t counted = 0; // of them, those whose traffic is added up here
};
inline constexpr auto LinksKind =
    kind<LinksRow>("LINKS", level("links", "", &LinksRow::links), level("idle", "", &LinksRow::idle),
                   level("counted", "", &LinksRow::counted), amount("rx_bytes", "B", &LinksRow::rx_bytes),
                   amount("tx_bytes", "B", &LinksRow::tx_bytes), amount("rx_packets", "", &LinksRow::rx_packets),
                   amount("tx_packets", "", &LinksRow::tx_packets), amount("rx_errors", "", &LinksRow::rx_errors),
                   amount("tx_errors", "", &LinksRow::tx_errors), amount("rx_dropped", "", &LinksRow::rx_dropped),
                   amount("tx_dropped", "", &LinksRow::tx_dropped));

// An address that an interface has, or no longer has.
struct AddressRow {
    uint64_t index = 0;  // of its interface
    std::string address; // 10.2.0.7
    uint64_t prefix = 0; // bits of the network
    std::string name;    // of its interface
    uint64_t family = 4; // 4, 6
    std::string scope;   // global, link, host ...
    bool present = true; // false: it was removed
};
inline constexpr auto AddressKind = kind<AddressRow>(
    "ADDR", id("index", &AddressRow::index), id("address", &AddressRow::address), id("prefix", &AddressRow::prefix),
    label("name", &AddressRow::name), level("family", "", &AddressRow::family), label("scope", &AddressRow::scope),
    level("present", "", &AddressRow::present));

// Whether anything happened to packets.
inline bool isActive(const LinkTraffic& traffic) {
    for (auto* amount : {&traffic.rx_bytes,
                         &traffic.tx_bytes,
                         &traffic.rx_packets,
                         &traffic.tx_packets,
                         &traffic.rx_errors,
                         &traffic.tx_errors,
                         &traffic.rx_dropped,
                         &traffic.tx_dropped})
        if (amount->value_or(0) > 0) return true;
    return false;
}

// Counters of TCP and UDP of one network namespace: /proc/net/snmp, snmp6, netstat, sockstat, sockstat6.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

// Since the namespace was made.
struct TcpCounters {
    uint64_t connects = 0, accepts = 0; // connections that began, by who asked for them
    uint64_t failed = 0, resets = 0;    // attempts that failed; connections that were reset
    uint64_t segments_in = 0, segments_out = 0, retransmitted = 0;
    uint64_t bad = 0, resets_sent = 0;
    bool operator==(const TcpCounters&) const = default;
};
// Of both families together.
struct UdpCounters {
    uint64_t in = 0, out = 0; // datagrams
    uint64_t no_port = 0, errors = 0, full = 0;
    bool operator==(const UdpCounters&) const = default;
};
// What the listeners could not take.
struct ListenCounters {
    uint64_t overflows = 0, drops = 0, cookies = 0;
};
// What is there now.
struct SocketLevels {
    uint64_t tcp4 = 0, tcp6 = 0, udp4 = 0, udp6 = 0; // sockets
    uint64_t used = 0;                               // sockets of any kind
    std::optional<uint64_t> orphans, time_wait;      // of TCP
    std::optional<uint64_t> tcp_pages, udp_pages;    // of memory; of the machine
    bool operator==(const SocketLevels&) const = default;
};

// The files' texts add to what other files have given. False: the file does not have it.
bool parseTcpCounters(std::string_view snmp, TcpCounters& counters);
bool parseUdpCounters(std::string_view snmp, UdpCounters& counters);
bool parseUdp6Counters(std::string_view snmp6, UdpCounters& counters);
std::optional<ListenCounters> parseListenCounters(std::string_view netstat);
// sockstat or sockstat6: "TCP: inuse 5 orphan 0 tw 2 alloc 7 mem 1".
void parseSocketLevels(std::string_view sockstat, SocketLevels& levels);

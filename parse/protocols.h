// The counters of the network protocols: /proc/net/snmp, /proc/net/netstat, /proc/net/snmp6.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct ProtocolCounter {
    std::string protocol, name; // Tcp, RetransSegs
    int64_t value = 0;          // since boot; of a level, now. -1: without a limit
    bool level = false;
};

// The counters of several files, one after the other. The list keeps its room, and its texts where they stay the same.
struct ProtocolCounters {
    std::vector<ProtocolCounter> list;
    size_t size = 0; // how many of the list are valid
    void clear() { size = 0; }
    void add(std::string_view protocol, std::string_view name, int64_t value);
};

// "Udp: InDatagrams NoPorts\nUdp: 65 122\n": names, then their values. What is in one of the two lines alone is left
// out.
void parseSnmp(std::string_view text, ProtocolCounters& counters);
// "Udp6InDatagrams 65\n".
void parseSnmp6(std::string_view text, ProtocolCounters& counters);

// The lines of /proc/net/dev.
#pragma once

#include <cstdint>
#include <string_view>

// The counters of one interface since it was made.
struct Netdev {
    std::string_view name; // a part of the line
    int64_t rx_bytes = 0, rx_packets = 0, rx_errors = 0, rx_dropped = 0, rx_fifo = 0, rx_frame = 0, rx_compressed = 0,
            rx_multicast = 0;
    int64_t tx_bytes = 0, tx_packets = 0, tx_errors = 0, tx_dropped = 0, tx_fifo = 0, tx_collisions = 0, tx_carrier = 0,
            tx_compressed = 0;
};

// "  eth0: 1296 9 0 0 0 0 0 0  2412 12 0 0 0 0 0 0". False, and nothing set, for a line with less than sixteen
// counters, such as the two lines of titles.
bool parseNetdevLine(std::string_view line, Netdev& device);

#include "parse/netdev.h"

#include "base/words.h"

#include <iterator>

static constexpr int64_t Netdev::* Columns[] = {
    &Netdev::rx_bytes, &Netdev::rx_packets,    &Netdev::rx_errors,     &Netdev::rx_dropped,
    &Netdev::rx_fifo,  &Netdev::rx_frame,      &Netdev::rx_compressed, &Netdev::rx_multicast,
    &Netdev::tx_bytes, &Netdev::tx_packets,    &Netdev::tx_errors,     &Netdev::tx_dropped,
    &Netdev::tx_fifo,  &Netdev::tx_collisions, &Netdev::tx_carrier,    &Netdev::tx_compressed,
};

bool parseNetdevLine(std::string_view line, Netdev& device) {
    std::string_view words[1 + std::size(Columns)]; // the name, then a word for each counter
    // A word also starts after a colon: old kernels print "eth0:123" without a space between name and number.
    if (splitWords(line, words, ':') < static_cast<int>(std::size(words))) return false;
    device.name = words[0].substr(0, words[0].find_first_of(" :"));
    for (size_t i = 0; i < std::size(Columns); i++) device.*Columns[i] = toLong(words[1 + i]);
    return true;
}

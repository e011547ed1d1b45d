#include "record/sock.h"

#include "base/numbers.h"

#include <algorithm>

bool hasNumber(std::string_view list, uint64_t number) {
    while (!list.empty()) {
        const auto comma = std::min(list.find(','), list.size());
        uint64_t one = 0;
        if (toNumber(list.substr(0, comma), one) && one == number) return true;
        list.remove_prefix(std::min(comma + 1, list.size()));
    }
    return false;
}

bool wantsSocket(const ViewRow& asked, uint64_t port, uint64_t peer_port, std::string_view address,
                 std::string_view peer, std::string_view state) {
    if (!asked.port.empty() && !hasNumber(asked.port, port) && !hasNumber(asked.port, peer_port)) return false;
    if (!asked.address.empty() && address.find(asked.address) == address.npos && peer.find(asked.address) == peer.npos)
        return false;
    return asked.state.empty() || asked.state == state;
}

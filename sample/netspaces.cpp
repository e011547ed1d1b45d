#include "sample/netspaces.h"

#include "base/clock.h"
#include "base/numbers.h"
#include "base/text.h"
#include "parse/netdev.h"
#include "sample/netns.h"

#include <algorithm>
#include <cerrno>

static SpaceLinkCounters countersOf(const Netdev& device) {
    const auto whole = [](int64_t value) { return static_cast<uint64_t>(value); };
    return {whole(device.rx_bytes),  whole(device.tx_bytes),  whole(device.rx_packets), whole(device.tx_packets),
            whole(device.rx_errors), whole(device.tx_errors), whole(device.rx_dropped), whole(device.tx_dropped)};
}

// The items of two lists that are sorted by `key`: calls `both` for each pair with the same one.
template <typename Had, typename Is, typename Key, typename Both>
static void eachPair(Had& had, Is& is, Key key, Both both) {
    auto before = had.begin();
    for (auto& now : is) {
        while (before != had.end() && key(*before) < key(now)) ++before;
        if (before == had.end()) return;
        if (key(*before) == key(now)) both(*before, now);
    }
}

void NetSpaceSampler::readSpace(NetSpace& space) {
    Text<32> file;
    file.addf("%u/net/dev", space.pid);
    if (!readFile(proc, file.c_str(), text)) return void(denied += errno == EACCES || errno == EPERM);
    if (netnsOf(proc, space.pid) != space.inode) return; // it has left, or another one has its pid
    space.before_us = space.at_us;
    space.at_us = getMonotonic();
    space.read = true;
    links.clear();
    auto rest = text.view();
    for (std::string_view line; takeLine(rest, line);) {
        Netdev device;
        if (!parseNetdevLine(line, device) || device.name.empty()) continue;
        auto& link = links.emplace_back();
        link.name = device.name;
        link.now = countersOf(device);
    }
    const auto name = [](auto& link) -> auto& { return link.name; };
    std::sort(links.begin(), links.end(), [&](auto& a, auto& b) { return name(a) < name(b); });
    eachPair(space.links, links, name, [](auto& had, auto& link) { link.before = had.now; });
    space.links.assign(links.begin(), links.end());
}

// The namespaces that are there, with what is known of them.
void NetSpaceSampler::keepPresent(std::span<const SockSpace> found, std::vector<NetSpace>& spaces) {
    present.clear();
    for (const auto& space : found) {
        if (space.own || space.free || !space.inode || !space.pid) continue;
        auto& is = present.emplace_back();
        is.inode = space.inode, is.pid = space.pid, is.fresh = space.fresh;
    }
    const auto inode = [](auto& space) { return space.inode; };
    std::sort(present.begin(), present.end(), [&](auto& a, auto& b) { return inode(a) < inode(b); });
    eachPair(spaces, present, inode, [](auto& had, auto& is) {
        if (is.fresh) return; // another one had its number
        is.at_us = had.at_us, is.before_us = had.before_us;
        is.links = std::move(had.links);
    });
    spaces.swap(present);
}

void NetSpaceSampler::sample(std::span<const SockSpace> found, NetSpaceSample& to) {
    auto& spaces = to.spaces;
    keepPresent(found, spaces);
    // The turn goes on after the one that was read last.
    size_t turn = 0;
    while (turn < spaces.size() && spaces[turn].inode <= last) turn++;
    for (size_t i = 0; i < std::min(spaces.size(), MostReads); i++, turn++) {
        if (turn >= spaces.size()) turn = 0;
        readSpace(spaces[turn]);
        last = spaces[turn].inode;
    }
}

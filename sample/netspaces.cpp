#include "sample/netspaces.h"

#include "base/clock.h"
#include "base/words.h"
#include "parse/netdev.h"

#include <algorithm>
#include <cerrno>

static SpaceLinkCounters countersOf(const Netdev& device) {
    const auto whole = [](int64_t value) { return static_cast<uint64_t>(value); };
    return {whole(device.rx_bytes),  whole(device.tx_bytes),  whole(device.rx_packets), whole(device.tx_packets),
            whole(device.rx_errors), whole(device.tx_errors), whole(device.rx_dropped), whole(device.tx_dropped)};
}

// Whether the process that was seen in the namespace is in it: it may have left, or another one may have its pid.
bool NetSpaceSampler::isStill(const SockSpace& space) const {
    HeldPlace proc;
    char target[64];
    if (!proc.open(root.path("/proc/" + std::to_string(space.pid) + "/ns").c_str())) return false;
    const auto size = readLink(proc, "net", target, sizeof target);
    return size > 0 &&
           std::string_view(target, static_cast<size_t>(size)) == "net:[" + std::to_string(space.inode) + "]";
}

void NetSpaceSampler::readSpace(const SockSpace& from, NetSpace& to) {
    const auto path = root.path("/proc/" + std::to_string(from.pid) + "/net/dev");
    if (!readFile(path.c_str(), text)) return void(denied += errno == EACCES || errno == EPERM);
    if (!isStill(from)) return;
    to.pid = from.pid;
    to.before_us = to.at_us;
    to.at_us = getMonotonic();
    to.read = true;
    std::vector<SpaceLink> links;
    auto rest = text.view();
    for (std::string_view line; takeLine(rest, line);) {
        Netdev device;
        if (!parseNetdevLine(line, device) || device.name.empty()) continue;
        auto& link = links.emplace_back();
        link.name = device.name;
        link.now = countersOf(device);
        const auto had = std::find_if(to.links.begin(), to.links.end(), [&](auto& l) { return l.name == link.name; });
        if (had != to.links.end()) link.before = had->now;
    }
    to.links = std::move(links);
}

void NetSpaceSampler::sample(std::span<const SockSpace> present, NetSpaceSample& to) {
    std::vector<const SockSpace*> others;
    for (const auto& space : present)
        if (!space.own && !space.free && space.inode && space.pid) others.push_back(&space);
    const auto precedes = [](auto* a, auto* b) { return a->inode < b->inode; };
    std::sort(others.begin(), others.end(), precedes);
    std::vector<NetSpace> spaces(others.size());
    for (size_t i = 0; i < others.size(); i++) {
        const auto had = std::find_if(to.spaces.begin(), to.spaces.end(),
                                      [&](auto& space) { return space.inode == others[i]->inode; });
        if (had != to.spaces.end()) spaces[i] = std::move(*had);
        spaces[i].inode = others[i]->inode;
        spaces[i].read = false;
    }
    to.spaces = std::move(spaces);
    // The turn goes on after the one that was read last.
    size_t turn = 0;
    while (turn < others.size() && others[turn]->inode <= last) turn++;
    for (size_t i = 0; i < std::min(others.size(), MostReads); i++, turn++) {
        if (turn >= others.size()) turn = 0;
        readSpace(*others[turn], to.spaces[turn]);
        last = others[turn]->inode;
    }
}

#include "sample/sock.h"

#include "base/clock.h"
#include "base/numbers.h"
#include "sample/sockfigures.h"

#include <algorithm>

#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>

SockSampler::SockSampler(const Root& where, Helper& asked)
    : root(where), helper(asked), snmp(where, "/proc/net/snmp"), snmp6(where, "/proc/net/snmp6"),
      netstat(where, "/proc/net/netstat"), sockstat(where, "/proc/net/sockstat"),
      sockstat6(where, "/proc/net/sockstat6"), somaxconn(where, "/proc/sys/net/core/somaxconn"),
      portRange(where, "/proc/sys/net/ipv4/ip_local_port_range"), reusePorts(where, "/proc/sys/net/ipv4/tcp_tw_reuse"),
      owners(where) {
    if (root.isOther()) return;
    constexpr uint32_t Ended = 1U << (SKNLGRP_INET_TCP_DESTROY - 1) | 1U << (SKNLGRP_INET6_TCP_DESTROY - 1);
    constexpr int Room = 32 << 20; // bytes: some ten thousand sockets that end in an interval
    answers = questions.open(NETLINK_SOCK_DIAG);
    reported = events.open(NETLINK_SOCK_DIAG, Ended, Room);
}

// The processes that accept from listeners in trouble; of all listeners in the first passes.
void SockSampler::findListenerOwners() {
    std::vector<WantedInode> inodes;
    for (uint32_t i = 0; i < now->listeners.size(); i++) {
        const auto& listener = now->listeners[i];
        const auto& socket = now->table.slots[listener.socket];
        if (now->pass <= 2 || listener.drops > 0 || socket.receive_queue > 0) inodes.emplace_back(socket.inode, i);
    }
    std::vector<SocketHolder> holders;
    owners.ownersOf(inodes, holders);
    for (const auto& [at, pid] : holders) {
        auto& pids = now->listeners[at].owners;
        if (pids.empty() || pids.back() != pid) pids.push_back(pid);
    }
}

// What the tables need besides the changes.
void SockSampler::finish(std::span<const Ran> ran) {
    constexpr size_t MostClients = 4096;
    auto& table = now->table;
    auto& slots = table.slots;
    owners.find(ran, acted, table);
    std::erase_if(now->queued, [&](uint32_t at) { return slots[at].free || !holds(slots[at]); });
    std::sort(now->queued.begin(), now->queued.end());
    now->queued.erase(std::unique(now->queued.begin(), now->queued.end()), now->queued.end());
    hot.clear();
    if (clients.size() > MostClients) clients.clear();
    std::erase_if(now->changes, [&](auto& change) { return slots[change.socket].free; });
    for (const auto& change : now->changes) {
        const auto& socket = slots[change.socket];
        if (socket.protocol != IPPROTO_TCP) continue;
        hot.push_back(change.socket);
        if (socket.owner && socket.ends.peer_port) clients[digestOf(socket.ends)] = socket.owner;
    }
    std::erase_if(now->listeners, [&](auto& listener) {
        const auto& socket = slots[listener.socket];
        return socket.free || socket.state != SocketState::Listen;
    });
    std::sort(now->listeners.begin(), now->listeners.end(), [](auto& a, auto& b) { return a.socket < b.socket; });
    const auto isSame = [](auto& a, auto& b) { return a.socket == b.socket; };
    now->listeners.erase(std::unique(now->listeners.begin(), now->listeners.end(), isSame), now->listeners.end());
    for (auto& listener : now->listeners) listener.drops = 0, listener.owners.clear();
    for (const auto& change : now->changes) {
        const auto found = std::lower_bound(now->listeners.begin(), now->listeners.end(), change.socket,
                                            [](auto& l, uint32_t at) { return l.socket < at; });
        if (found != now->listeners.end() && found->socket == change.socket)
            found->drops = slots[change.socket].counters.drops - change.before.drops;
    }
    findListenerOwners();
    if (now->spaces[0].known) countPorts();
}

void SockSampler::sample(std::span<const Ran> ran, std::span<const GoneProcess> gone, SockSample& to) {
    now = &to;
    to.paired = to.pass++ > 0;
    to.before_us = to.at_us;
    to.at_us = getMonotonic();
    to.changes.clear(), to.ended.clear();
    acted.clear();
    if (to.spaces.empty()) {
        auto& own = to.spaces.emplace_back();
        own.own = true;
        uint64_t inode = 0;
        if (inodeOf(root.path("/proc/self/ns/net").c_str(), inode)) own.inode = static_cast<uint32_t>(inode);
        constexpr size_t MostServices = 1 << 20; // bytes
        if (readFile(root.path("/etc/services").c_str(), text, Reading::Whole, MostServices))
            to.services = parseServices(text.view());
    }
    for (auto& space : to.spaces) {
        space.paired = space.now.known;
        space.before = space.now;
        space.resumed = !space.known;
        space.listed = space.fresh = false;
        space.asked = space.moved = space.received = space.sent = space.explained = space.ended = 0;
        space.lost.reset();
    }
    if (!root.isOther()) owners.begin(ran, gone, to.table);
    sampleOwn();
    if (!root.isOther()) sampleOthers();
    for (auto& space : to.spaces) {
        const auto before = segmentsOf(space.before.tcp), after = segmentsOf(space.now.tcp);
        if (!space.paired || !space.now.known || after < before) continue;
        const uint64_t counted = space.explained + space.ahead;
        space.explained = std::min(counted, after - before);
        // When sockets are known again, what they have moved meanwhile is not ahead of the counters.
        space.ahead = space.resumed ? 0 : counted - space.explained;
    }
    finish(ran);
}

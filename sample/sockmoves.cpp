// Which sockets there are, and what each has moved since the last pass.
#include "sample/sock.h"

#include "parse/attributes.h"
#include "sample/sockfigures.h"

#include <algorithm>

#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>

static constexpr uint32_t None = SocketTable::None;

size_t SockSampler::groupOf(uint8_t protocol, uint8_t family) {
    return (protocol == IPPROTO_TCP ? 0U : 2U) + (family == AF_INET ? 0U : 1U);
}

void SockSampler::count(const Socket& socket, int by) {
    auto& counts = now->spaces[socket.space].counts[groupOf(socket.protocol, socket.family)];
    const auto add = [by](uint64_t& to, uint64_t amount) { to = by > 0 ? to + amount : to - amount; };
    add(counts.states[static_cast<size_t>(socket.state)], 1);
    add(counts.sockets, 1);
    if (!holds(socket) || socket.state == SocketState::Listen) return;
    add(counts.queued, 1);
    add(counts.receive_queue, socket.receive_queue), add(counts.send_queue, socket.send_queue);
}

void SockSampler::setLevels(Socket& socket, const InetSocket& from) const {
    socket.state = from.state;
    socket.ends = from.ends;
    socket.uid = from.uid;
    socket.receive_queue = from.receive_queue, socket.send_queue = from.send_queue;
    if (!from.tcp) return;
    socket.rtt_us = from.tcp->rtt_us, socket.window = from.tcp->window, socket.backoff = from.tcp->backoff;
    socket.hasBytes = from.tcp->hasBytes;
}

void SockSampler::note(uint32_t at, const SocketCounters& before, bool born) {
    auto& socket = now->table.slots[at];
    if (socket.moved == now->pass) return;
    socket.moved = now->pass;
    // All of them may follow. Room for so many at once is half of what doubling needs, and is not touched before.
    if (now->changes.empty()) now->changes.reserve(now->table.size());
    now->changes.push_back({before, at, born});
}

void SockSampler::update(uint16_t space, uint8_t protocol, const InetSocket& from) {
    if (from.state == SocketState::TimeWait) return;
    auto& table = now->table;
    auto& in = now->spaces[space];
    auto at = table.find(space, from.cookie);
    const bool fresh = at == None;
    // A socket that is not there before a whole list is not new, but in a new namespace all are.
    const bool born = fresh && (in.known || in.fresh) && now->paired;
    if (fresh) {
        Socket made;
        made.cookie = from.cookie, made.space = space, made.protocol = protocol, made.family = from.family;
        made.inode = from.inode;
        if (!born) made.counters = countersOf(from, {});
        at = table.add(made);
        owners.add(at);
    } else {
        count(table.slots[at], -1);
    }
    auto& socket = table.slots[at];
    if (socket.inode != from.inode) table.setInode(at, from.inode), owners.add(at);
    const auto before = socket.counters, after = countersOf(from, before);
    const uint32_t queue = socket.receive_queue, unsent = socket.send_queue;
    const bool wasHeld = holds(socket), wasListening = !fresh && socket.state == SocketState::Listen;
    setLevels(socket, from);
    socket.seen = now->pass;
    socket.counters = after;
    count(socket, 1);
    if (socket.state == SocketState::Listen && !wasListening) now->listeners.push_back({at, 0, {}});
    const bool read = protocol == IPPROTO_TCP ? positionOf(after, socket.receive_queue) > positionOf(before, queue)
                                              : socket.receive_queue < queue;
    if (socket.receive_queue == 0) socket.unread_us = 0;
    else if (queue == 0 || read || socket.unread_us == 0) socket.unread_us = now->at_us;
    if (holds(socket) && (!wasHeld || fresh)) now->queued.push_back(at);
    if (before == after && !born) return;
    if (fell(before, after)) return; // the counters of another socket
    note(at, before, born);
    in.received += after.received - before.received;
    in.sent += after.sent - before.sent;
    in.explained += segmentsBetween(before, after);
    in.moved += protocol == IPPROTO_TCP && segmentsBetween(before, after) > 0;
    // What is queued already is sent without the process.
    if ((after.sent > before.sent && unsent == 0) || read) acted.push_back(at);
}

// Answers for both protocols. A UDP socket has no tcp_info, and neither have TCP sockets that are about to begin or
// end.
void SockSampler::takeAll(uint16_t space, std::string_view messages) {
    eachMessage(messages, [&](uint16_t type, std::string_view payload) {
        const auto socket = type == SOCK_DIAG_BY_FAMILY ? parseInetSocket(payload) : std::nullopt;
        if (!socket) return;
        const auto known = now->table.find(space, socket->cookie);
        const bool tcp = known != None ? now->table.slots[known].protocol == IPPROTO_TCP
                                       : socket->tcp || (socket->state != SocketState::Established &&
                                                         socket->state != SocketState::Closed);
        update(space, tcp ? IPPROTO_TCP : IPPROTO_UDP, *socket);
    });
}

void SockSampler::take(uint16_t space, uint8_t protocol, std::string_view messages) {
    eachMessage(messages, [&](uint16_t type, std::string_view payload) {
        if (type != SOCK_DIAG_BY_FAMILY) return;
        if (const auto socket = parseInetSocket(payload)) update(space, protocol, *socket);
    });
}

void SockSampler::drop(uint32_t at) {
    count(now->table.slots[at], -1);
    now->table.remove(at);
}

// What is on no whole list any more is gone. Its report may come late, so it is kept for one more pass.
void SockSampler::sweep(uint16_t space, uint8_t protocol) {
    const bool late = space == 0 && protocol == IPPROTO_TCP && reported;
    now->table.each(space, protocol, [&](uint32_t at) {
        const auto seen = now->table.slots[at].seen;
        if (seen != now->pass && (!late || seen + 2 <= now->pass)) drop(at);
    });
}

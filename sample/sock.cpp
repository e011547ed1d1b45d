#include "sample/sock.h"

#include "base/clock.h"
#include "base/numbers.h"
#include "parse/attributes.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <linux/inet_diag.h>
#include <linux/sock_diag.h>
#include <linux/unix_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>

static constexpr uint32_t None = SocketTable::None;
static constexpr uint32_t bitOf(SocketState state) { return uint32_t{1} << static_cast<unsigned>(state); }
// Those that ended and are kept for late packets are counted by the kernel.
static constexpr uint32_t AllStates = 0xfff & ~bitOf(SocketState::TimeWait);

SockSampler::SockSampler(const Root& where, Helper& asked)
    : root(where), helper(asked), snmp(where, "/proc/net/snmp"), snmp6(where, "/proc/net/snmp6"),
      netstat(where, "/proc/net/netstat"), sockstat(where, "/proc/net/sockstat"),
      sockstat6(where, "/proc/net/sockstat6"), somaxconn(where, "/proc/sys/net/core/somaxconn"),
      portRange(where, "/proc/sys/net/ipv4/ip_local_port_range"), owners(where) {
    if (root.isOther()) return;
    constexpr uint32_t Ended = 1U << (SKNLGRP_INET_TCP_DESTROY - 1) | 1U << (SKNLGRP_INET6_TCP_DESTROY - 1);
    constexpr int Room = 32 << 20; // bytes: some ten thousand sockets that end in an interval
    answers = questions.open(NETLINK_SOCK_DIAG);
    reported = events.open(NETLINK_SOCK_DIAG, Ended, Room);
}

// --- Counters

// Files of the own namespace stay open. An open file of another one would keep it alive.
std::string_view SockSampler::readOf(const SockSpace& space, HeldFile& held, const char* name) {
    if (space.own) return held.read(text) ? text.view() : std::string_view();
    const auto path = root.path("/proc/" + std::to_string(space.pid) + "/net/" + name);
    return readFile(path.c_str(), text) ? text.view() : std::string_view();
}

bool SockSampler::readCounters(SockSpace& space) {
    auto& counters = space.now;
    counters = {};
    const auto all = readOf(space, snmp, "snmp");
    counters.known = parseTcpCounters(all, counters.tcp);
    parseUdpCounters(all, counters.udp);
    parseSocketLevels(readOf(space, sockstat, "sockstat"), counters.levels);
    parseSocketLevels(readOf(space, sockstat6, "sockstat6"), counters.levels);
    if (counters.levels.udp6 > 0 || space.before.levels.udp6 > 0)
        parseUdp6Counters(readOf(space, snmp6, "snmp6"), counters.udp);
    return counters.known;
}

// What changes only when connections begin.
void SockSampler::readSlow(SockSpace& space) {
    const bool still = space.paired && space.now.tcp == space.before.tcp && space.before.listen;
    space.now.listen = still ? space.before.listen : parseListenCounters(readOf(space, netstat, "netstat"));
    if (!space.own || space.somaxconn) return;
    uint64_t most = 0;
    auto rest = somaxconn.read(text) ? text.view() : std::string_view();
    if (takeNumber(rest, most)) space.somaxconn = most;
}

// --- What is known of a socket

size_t SockSampler::groupOf(uint8_t protocol, uint8_t family) {
    return (protocol == IPPROTO_TCP ? 0U : 2U) + (family == AF_INET ? 0U : 1U);
}

static bool holds(const Socket& socket) {
    return socket.receive_queue > 0 || (socket.send_queue > 0 && socket.state != SocketState::Listen);
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

// Of a peer's address and port.
static uint64_t digestOf(const SocketEnds& ends) {
    uint64_t low, high;
    memcpy(&low, ends.peer.data(), sizeof low);
    memcpy(&high, ends.peer.data() + sizeof low, sizeof high);
    return ((low ^ high * 0x9e3779b97f4a7c15) + ends.peer_port) * 0xbf58476d1ce4e5b9;
}

static SocketEnds peerOf(const Socket& socket) {
    SocketEnds ends;
    ends.peer = socket.ends.peer, ends.peer_port = socket.ends.peer_port;
    return ends;
}

static SocketCounters countersOf(const InetSocket& from, const SocketCounters& before) {
    SocketCounters counters = before;
    if (from.drops) counters.drops = *from.drops;
    if (!from.tcp) return counters;
    const auto& tcp = *from.tcp;
    counters.retransmitted = tcp.retransmitted;
    if (!tcp.hasBytes) return counters;
    counters.received = tcp.received;
    counters.sent = tcp.hasSent ? tcp.sent - std::min(tcp.sent, tcp.retransmitted_bytes) : tcp.acknowledged;
    counters.retransmitted_bytes = tcp.retransmitted_bytes;
    counters.segments_in = tcp.segments_in, counters.segments_out = tcp.segments_out;
    return counters;
}

// Where the reader stands: what was received less what is still queued.
static uint64_t positionOf(const SocketCounters& counters, uint32_t queue) {
    return counters.received - std::min<uint64_t>(counters.received, queue);
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
    now->changes.push_back({at, before, born});
}

static uint64_t grown32(uint32_t before, uint32_t after) { return static_cast<uint32_t>(after - before); }

static uint64_t segmentsBetween(const SocketCounters& before, const SocketCounters& after) {
    return grown32(before.segments_in, after.segments_in) + grown32(before.segments_out, after.segments_out);
}

static bool fell(const SocketCounters& before, const SocketCounters& after) {
    return after.received < before.received || after.sent < before.sent;
}

void SockSampler::update(uint16_t space, uint8_t protocol, const InetSocket& from) {
    if (from.state == SocketState::TimeWait) return;
    auto& table = now->table;
    auto& in = now->spaces[space];
    auto at = table.find(space, from.cookie);
    const bool fresh = at == None;
    // A socket that is not there before a whole list is not new.
    const bool born = fresh && in.known && now->paired;
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

// --- Sockets that ended

// The process that has the listener of its port; of a connection to elsewhere, one that talked to the same peer.
uint32_t SockSampler::ownerOfEnded(const Socket& socket) const {
    const auto accepting = acceptors.find(socket.ends.port);
    if (accepting != acceptors.end()) return accepting->second;
    const auto found = clients.find(digestOf(peerOf(socket)));
    return found == clients.end() ? 0 : found->second;
}

void SockSampler::end(const InetSocket& from) {
    auto& own = now->spaces[0];
    const auto at = now->table.find(0, from.cookie);
    if (!own.known || (at == None && !now->paired)) return;
    EndedSocket ended;
    if (at != None) {
        ended.socket = now->table.slots[at];
        ended.before = ended.socket.counters;
        drop(at);
    } else {
        ended.socket.cookie = from.cookie, ended.socket.protocol = IPPROTO_TCP, ended.socket.family = from.family;
        ended.born = true;
    }
    const bool listening = ended.socket.state == SocketState::Listen;
    const auto ends = ended.socket.ends;
    setLevels(ended.socket, from);
    if (from.ends.port == 0) ended.socket.ends = ends;
    ended.socket.counters = countersOf(from, ended.before);
    ended.socket.receive_queue = ended.socket.send_queue = 0;
    if (listening || fell(ended.before, ended.socket.counters)) return;
    if (ended.socket.owner == 0 && (ended.inferred = (ended.socket.owner = ownerOfEnded(ended.socket)) != 0))
        ended.socket.owners = 1;
    own.ended++;
    own.received += ended.socket.counters.received - ended.before.received;
    own.sent += ended.socket.counters.sent - ended.before.sent;
    own.explained += segmentsBetween(ended.before, ended.socket.counters);
    if (!(ended.before == ended.socket.counters)) now->ended.push_back(ended);
}

void SockSampler::takeEvents() {
    auto& own = now->spaces[0];
    acceptors.clear();
    for (const auto& listener : now->listeners) {
        const auto& socket = now->table.slots[listener.socket];
        if (!socket.free && socket.space == 0 && socket.owner) acceptors.try_emplace(socket.ends.port, socket.owner);
    }
    while (events.take(piece))
        eachMessage(piece.view(), [&](uint16_t, std::string_view payload) {
            const auto socket = parseInetSocket(payload);
            if (socket && socket->tcp) end(*socket);
        });
    if (!reported) return;
    own.lost = events.overruns() - overruns;
    overruns = events.overruns();
}

// --- Questions

static inet_diag_req_v2 requestOf(uint8_t protocol, uint8_t family, uint32_t states) {
    inet_diag_req_v2 body{};
    body.sdiag_family = family, body.sdiag_protocol = protocol;
    body.idiag_ext = 1 << (INET_DIAG_SKMEMINFO - 1);
    if (protocol == IPPROTO_TCP) body.idiag_ext |= 1 << (INET_DIAG_INFO - 1);
    body.idiag_states = states;
    return body;
}

std::string SockSampler::listRequest(uint8_t protocol, uint8_t family) {
    return dumpRequest(SOCK_DIAG_BY_FAMILY, requestOf(protocol, family, AllStates));
}

std::string SockSampler::singleRequestOf(const Socket& socket) {
    auto body = requestOf(socket.protocol, socket.family, ~uint32_t{0});
    const size_t size = socket.family == AF_INET ? 4 : 16;
    memcpy(body.id.idiag_src, socket.ends.address.data(), size);
    memcpy(body.id.idiag_dst, socket.ends.peer.data(), size);
    body.id.idiag_sport = htons(socket.ends.port), body.id.idiag_dport = htons(socket.ends.peer_port);
    body.id.idiag_if = socket.ends.interface;
    body.id.idiag_cookie[0] = static_cast<uint32_t>(socket.cookie);
    body.id.idiag_cookie[1] = static_cast<uint32_t>(socket.cookie >> 32);
    return singleRequest(SOCK_DIAG_BY_FAMILY, body);
}

Asked SockSampler::list(uint16_t space, uint8_t protocol, uint8_t family, uint32_t states) {
    auto request = dumpRequest(SOCK_DIAG_BY_FAMILY, requestOf(protocol, family, states));
    return questions.askEach(request, piece, [&](std::string_view messages) { take(space, protocol, messages); });
}

// All sockets of a protocol in the own namespace. False: the kernel does not tell.
bool SockSampler::listAll(uint16_t space, uint8_t protocol) {
    const auto& in = now->spaces[space];
    const auto& levels = in.now.levels;
    bool whole = true;
    for (const uint8_t family : {uint8_t{AF_INET}, uint8_t{AF_INET6}}) {
        const auto is = protocol == IPPROTO_TCP ? levels.tcp6 : levels.udp6;
        const bool none = family == AF_INET6 && in.now.known && is == 0;
        if (none && in.counts[groupOf(protocol, family)].sockets == 0) continue;
        const auto asked = list(space, protocol, family, AllStates);
        // A kernel without a protocol or family says that it does not know it.
        if (asked == Asked::Failed && errno != ENOENT && errno != EINVAL) return forbidden += errno == EPERM, false;
        whole &= asked != Asked::Interrupted;
    }
    now->spaces[space].listed = true;
    if (whole) sweep(space, protocol);
    return true;
}

// Sockets of the own namespace, one by one.
void SockSampler::askFor(const std::vector<uint32_t>& sockets) {
    auto& own = now->spaces[0];
    for (size_t from = 0; from < sockets.size(); from += Netlink::MostAtOnce) {
        const size_t to = std::min(sockets.size(), from + Netlink::MostAtOnce);
        requests.clear();
        for (size_t i = from; i < to; i++) requests += singleRequestOf(now->table.slots[sockets[i]]);
        own.asked += to - from;
        if (questions.askMany(requests, piece) == Asked::Failed) return;
        const auto protocol = now->table.slots[sockets[from]].protocol;
        take(0, protocol, piece.view());
    }
    for (const auto at : sockets) {
        const auto& socket = now->table.slots[at];
        if (!socket.free && socket.seen != now->pass && (!reported || socket.seen + 2 <= now->pass)) drop(at);
    }
}

// Those with something in a queue. Listeners are listed instead: several can have the same address.
void SockSampler::queuedOf(uint16_t space, uint8_t protocol, std::vector<uint32_t>& sockets) {
    compared += now->queued.size();
    for (const auto at : now->queued) {
        const auto& socket = now->table.slots[at];
        if (!socket.free && socket.space == space && socket.protocol == protocol && socket.seen != now->pass &&
            socket.state != SocketState::Listen)
            sockets.push_back(at);
    }
}

void SockSampler::listUnix(SockSpace& own) {
    const bool still = own.now.levels.used == unixUsed && unixAge < UnixTurn;
    unixAge++;
    if (still && unixAge > 1) return;
    unixAge = 1, unixUsed = own.now.levels.used;
    unix_diag_req body{};
    body.sdiag_family = AF_UNIX, body.udiag_states = ~uint32_t{0};
    auto request = dumpRequest(SOCK_DIAG_BY_FAMILY, body);
    SocketCount counts;
    const auto asked = questions.askEach(request, piece, [&](std::string_view messages) {
        eachMessage(messages, [&](uint16_t, std::string_view payload) {
            const auto socket = parseUnixSocket(payload);
            if (!socket) return;
            counts.sockets++;
            counts.states[static_cast<size_t>(socket->state)]++;
        });
    });
    if (asked != Asked::Failed) own.counts[SocketGroups - 1] = counts;
}

// --- The own namespace

static uint64_t segmentsOf(const TcpCounters& tcp) { return tcp.segments_in + tcp.segments_out + tcp.retransmitted; }

// Whether what the sockets have counted since the last whole list is all that the namespace has. Segments that moved
// while sockets were asked for make that uncertain; for some passes that will do.
bool SockSampler::isExplained(uint64_t segments) {
    auto& own = now->spaces[0];
    TcpCounters after;
    if (!parseTcpCounters(readOf(own, snmp, "snmp"), after)) return false;
    const uint64_t explained = explainedSince + own.explained;
    if (segments > listedAfter + explained) return false;
    const bool certain = segmentsOf(after) <= listedBefore + explained;
    uncertain = certain ? 0 : uncertain + 1;
    return certain || uncertain < MostUncertain;
}

// Asks for the sockets that are likely to have moved. True: no other one has.
bool SockSampler::askSome(const SockSpace& own) {
    const auto segments = segmentsOf(own.now.tcp);
    const auto ask = [&] {
        std::erase_if(wanted, [&](uint32_t at) {
            const auto& socket = now->table.slots[at];
            return socket.free || socket.space != 0 || socket.protocol != IPPROTO_TCP || socket.seen == now->pass ||
                   socket.state == SocketState::Listen;
        });
        std::sort(wanted.begin(), wanted.end());
        wanted.erase(std::unique(wanted.begin(), wanted.end()), wanted.end());
        if (wanted.size() > now->table.size() / Share) return false;
        askFor(wanted);
        return isExplained(segments);
    };
    for (const uint8_t family : {uint8_t{AF_INET}, uint8_t{AF_INET6}})
        if (own.counts[groupOf(IPPROTO_TCP, family)].states[static_cast<size_t>(SocketState::Listen)] > 0 ||
            own.now.levels.tcp6 != own.before.levels.tcp6 || own.now.levels.tcp4 != own.before.levels.tcp4)
            list(0, IPPROTO_TCP, family, bitOf(SocketState::Listen));
    wanted = hot;
    queuedOf(0, IPPROTO_TCP, wanted);
    if (ask()) return true;
    if (wanted.size() > now->table.size() / Share) return false;
    wanted.clear();
    owners.socketsOfRan(now->table, wanted);
    return !wanted.empty() && ask();
}

void SockSampler::sampleTcp(SockSpace& own) {
    const auto &is = own.now, &was = own.before;
    const bool still = own.known && own.paired && is.known && is.tcp == was.tcp && is.levels.tcp4 == was.levels.tcp4 &&
                       is.levels.tcp6 == was.levels.tcp6 && own.lost.value_or(0) == 0;
    if (still) {
        wanted.clear();
        queuedOf(0, IPPROTO_TCP, wanted);
        if (wanted.size() <= now->table.size() / 2 + 1) {
            askFor(wanted);
            const auto waits = [&](auto& l) {
                const auto& socket = now->table.slots[l.socket];
                return !socket.free && socket.space == 0 && socket.receive_queue > 0;
            };
            if (std::any_of(now->listeners.begin(), now->listeners.end(), waits))
                for (const uint8_t family : {uint8_t{AF_INET}, uint8_t{AF_INET6}})
                    list(0, IPPROTO_TCP, family, bitOf(SocketState::Listen));
            explainedSince += own.explained;
            return;
        }
    } else if (own.known && own.paired && is.known && own.lost.value_or(0) == 0 && listedAfter > 0 && askSome(own)) {
        explainedSince += own.explained;
        return;
    }
    own.known = listAll(0, IPPROTO_TCP);
    TcpCounters after;
    listedBefore = segmentsOf(is.tcp);
    listedAfter = parseTcpCounters(readOf(own, snmp, "snmp"), after) ? segmentsOf(after) : 0;
    explainedSince = 0, uncertain = 0;
}

void SockSampler::sampleUdp(SockSpace& own) {
    const auto &is = own.now, &was = own.before;
    const bool still = own.paired && is.known && is.udp == was.udp && is.levels.udp4 == was.levels.udp4 &&
                       is.levels.udp6 == was.levels.udp6;
    if (!still) return void(listAll(0, IPPROTO_UDP));
    wanted.clear();
    queuedOf(0, IPPROTO_UDP, wanted);
    askFor(wanted);
}

void SockSampler::sampleOwn() {
    auto& own = now->spaces[0];
    readCounters(own);
    readSlow(own);
    if (!answers) return;
    takeEvents();
    sampleTcp(own);
    if (!own.known) return;
    sampleUdp(own);
    listUnix(own);
}

// --- Local ports

// The peer with most connections of the own namespace from ports that the kernel chose. Those to a port with a listener
// were made by others. They are only counted where they can be half of all ports.
void SockSampler::countPorts() {
    now->ports.reset();
    const auto& slots = now->table.slots;
    if (now->portRange == 0 || now->table.size() < now->portRange / 2) return;
    std::vector<bool> listening(size_t{UINT16_MAX} + 1);
    for (const auto& listener : now->listeners) listening[slots[listener.socket].ends.port] = true;
    std::vector<std::pair<uint64_t, uint32_t>> peers; // digest of the peer, socket
    for (uint32_t at = 0; at < slots.size(); at++) {
        const auto& socket = slots[at];
        if (socket.free || socket.space != 0 || socket.protocol != IPPROTO_TCP || socket.ends.peer_port == 0 ||
            socket.ends.port < firstPort || socket.ends.port > lastPort || listening[socket.ends.port])
            continue;
        peers.emplace_back(digestOf(peerOf(socket)), at);
    }
    std::sort(peers.begin(), peers.end());
    for (size_t from = 0; from < peers.size();) {
        size_t to = from + 1;
        while (to < peers.size() && peers[to].first == peers[from].first) to++;
        const auto& socket = slots[peers[from].second];
        if (!now->ports || to - from > now->ports->ports)
            now->ports = PortUse{peerOf(socket), socket.family, to - from};
        from = to;
    }
}

// --- A pass

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
        if (socket.owner && socket.ends.peer_port) clients[digestOf(peerOf(socket))] = socket.owner;
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
    if (now->spaces[0].listed) countPorts();
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
        auto range = portRange.read(text) ? text.view() : std::string_view();
        if (takeNumber(range, firstPort) && takeNumber(range, lastPort) && lastPort >= firstPort)
            to.portRange = static_cast<uint64_t>(lastPort - firstPort) + 1;
    }
    for (auto& space : to.spaces) {
        space.paired = space.now.known;
        space.before = space.now;
        space.listed = false;
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
        space.ahead = counted - space.explained;
    }
    finish(ran);
}

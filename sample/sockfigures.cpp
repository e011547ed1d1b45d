#include "sample/sockfigures.h"

#include <algorithm>
#include <cstring>

bool holds(const Socket& socket) {
    return socket.receive_queue > 0 || (socket.send_queue > 0 && socket.state != SocketState::Listen);
}

uint64_t digestOf(const SocketEnds& ends) {
    uint64_t low, high;
    memcpy(&low, ends.peer.data(), sizeof low);
    memcpy(&high, ends.peer.data() + sizeof low, sizeof high);
    return ((low ^ high * 0x9e3779b97f4a7c15) + ends.peer_port) * 0xbf58476d1ce4e5b9;
}

SocketCounters countersOf(const InetSocket& from, const SocketCounters& before) {
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

uint64_t positionOf(const SocketCounters& counters, uint32_t queue) {
    return counters.received - std::min<uint64_t>(counters.received, queue);
}

static uint64_t grown32(uint32_t before, uint32_t after) { return static_cast<uint32_t>(after - before); }

uint64_t segmentsBetween(const SocketCounters& before, const SocketCounters& after) {
    return grown32(before.segments_in, after.segments_in) + grown32(before.segments_out, after.segments_out);
}

bool fell(const SocketCounters& before, const SocketCounters& after) {
    return after.received < before.received || after.sent < before.sent;
}

uint64_t segmentsOf(const TcpCounters& tcp) { return tcp.segments_in + tcp.segments_out + tcp.retransmitted; }

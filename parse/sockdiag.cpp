#include "parse/sockdiag.h"

#include "parse/attributes.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include <arpa/inet.h>
#include <linux/inet_diag.h>
#include <linux/unix_diag.h>
#include <sys/socket.h>

static constexpr std::string_view Names[SocketStates + 1] = {
    "",      "ESTABLISHED", "SYN_SENT", "SYN_RECV", "FIN_WAIT1", "FIN_WAIT2", "TIME_WAIT",
    "CLOSE", "CLOSE_WAIT",  "LAST_ACK", "LISTEN",   "CLOSING",   "SYN_RECV",  "CLOSE"};

std::string_view stateName(SocketState state) {
    const auto number = static_cast<uint8_t>(state);
    return number <= SocketStates ? Names[number] : std::string_view();
}

static std::optional<SocketState> stateOf(uint8_t number) {
    if (number == 0 || number > SocketStates) return {};
    return static_cast<SocketState>(number);
}

// linux/tcp.h of older systems lacks the later fields, so their places are written out. The kernel adds new ones at the
// end.
static TcpInfo infoOf(std::string_view bytes) {
    TcpInfo info;
    const auto take = [&](size_t at, auto& value) {
        if (at + sizeof value > bytes.size()) return false;
        memcpy(&value, bytes.data() + at, sizeof value);
        return true;
    };
    take(2, info.backoff);
    take(68, info.rtt_us);
    take(80, info.window);
    take(100, info.retransmitted);
    take(120, info.acknowledged), take(128, info.received);
    take(136, info.segments_out);
    info.hasBytes = take(140, info.segments_in);
    take(200, info.sent);
    info.hasSent = take(208, info.retransmitted_bytes);
    return info;
}

std::optional<InetSocket> parseInetSocket(std::string_view payload) {
    inet_diag_msg head;
    if (!takeBody(payload, head)) return {};
    const auto state = stateOf(head.idiag_state);
    if (!state || (head.idiag_family != AF_INET && head.idiag_family != AF_INET6)) return {};
    InetSocket socket;
    socket.family = head.idiag_family;
    socket.state = *state;
    const size_t size = socket.family == AF_INET ? 4 : 16;
    memcpy(socket.ends.address.data(), head.id.idiag_src, size);
    memcpy(socket.ends.peer.data(), head.id.idiag_dst, size);
    socket.ends.port = ntohs(head.id.idiag_sport), socket.ends.peer_port = ntohs(head.id.idiag_dport);
    socket.ends.interface = head.id.idiag_if;
    socket.cookie = head.id.idiag_cookie[0] | uint64_t{head.id.idiag_cookie[1]} << 32;
    socket.inode = head.idiag_inode, socket.uid = head.idiag_uid;
    socket.receive_queue = head.idiag_rqueue, socket.send_queue = head.idiag_wqueue;
    eachAttribute(payload, [&](uint16_t type, std::string_view value) {
        constexpr size_t Drops = 8 * sizeof(uint32_t); // SK_MEMINFO_DROPS, since 4.11
        uint32_t drops = 0;
        if (type == INET_DIAG_INFO) socket.tcp = infoOf(value);
        if (type != INET_DIAG_SKMEMINFO || value.size() < Drops + sizeof drops) return;
        memcpy(&drops, value.data() + Drops, sizeof drops);
        socket.drops = drops;
    });
    return socket;
}

std::string addressText(uint8_t family, const std::array<unsigned char, 16>& address) {
    if (std::all_of(address.begin(), address.end(), [](auto byte) { return byte == 0; })) return {};
    char text[INET6_ADDRSTRLEN];
    return inet_ntop(family, address.data(), text, sizeof text) ? text : std::string();
}

std::optional<UnixSocket> parseUnixSocket(std::string_view payload) {
    unix_diag_msg head;
    if (!takeBody(payload, head)) return {};
    const auto state = stateOf(head.udiag_state);
    if (!state || head.udiag_family != AF_UNIX) return {};
    UnixSocket socket{head.udiag_type, *state, head.udiag_ino, {}, {}};
    eachAttribute(payload, [&](uint16_t type, std::string_view value) {
        unix_diag_rqlen queues;
        if (type != UNIX_DIAG_RQLEN || !takeBody(value, queues)) return;
        socket.receive_queue = queues.udiag_rqueue, socket.send_queue = queues.udiag_wqueue;
    });
    return socket;
}

#include "sample/sockrequest.h"

#include "base/netlink.h"

#include <cstring>

#include <linux/inet_diag.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>

static inet_diag_req_v2 requestOf(uint8_t protocol, uint8_t family, uint32_t states) {
    inet_diag_req_v2 body{};
    body.sdiag_family = family, body.sdiag_protocol = protocol;
    body.idiag_ext = 1 << (INET_DIAG_SKMEMINFO - 1);
    if (protocol == IPPROTO_TCP) body.idiag_ext |= 1 << (INET_DIAG_INFO - 1);
    body.idiag_states = states;
    return body;
}

std::string listRequest(uint8_t protocol, uint8_t family, uint32_t states) {
    return dumpRequest(SOCK_DIAG_BY_FAMILY, requestOf(protocol, family, states));
}

std::string socketRequest(const Socket& socket) {
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

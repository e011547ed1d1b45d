// Questions for the sockets of the own network namespace.
#include "sample/sock.h"

#include "parse/attributes.h"
#include "sample/sockrequest.h"

#include <algorithm>
#include <cerrno>

#include <linux/sock_diag.h>
#include <linux/unix_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>

Asked SockSampler::list(uint16_t space, uint8_t protocol, uint8_t family, uint32_t states) {
    auto request = listRequest(protocol, family, states);
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
        for (size_t i = from; i < to; i++) requests += socketRequest(now->table.slots[sockets[i]]);
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

// The local ports of the own namespace, which can run out.
#include "sample/sock.h"

#include "base/numbers.h"
#include "parse/attributes.h"
#include "sample/sockfigures.h"
#include "sample/sockrequest.h"

#include <algorithm>

#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>

void SockSampler::readPortLimits() {
    auto range = portRange.read(text) ? text.view() : std::string_view();
    if (takeNumber(range, firstPort) && takeNumber(range, lastPort) && lastPort >= firstPort)
        now->portRange = static_cast<uint64_t>(lastPort - firstPort) + 1;
    uint64_t reuse = 0;
    auto setting = reusePorts.read(text) ? text.view() : std::string_view();
    if (!takeNumber(setting, reuse)) return;
    reused = reuse == 0 ? Reused::None : reuse == 1 ? Reused::All : Reused::Loopback;
}

static bool isLoopback(uint8_t family, const std::array<unsigned char, 16>& address) {
    static constexpr unsigned char Mapped[] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 127}; // ::ffff:127.0.0.0
    static constexpr unsigned char Six[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    if (family == AF_INET) return address[0] == 127;
    return std::equal(std::begin(Mapped), std::end(Mapped), address.begin()) ||
           std::equal(std::begin(Six), std::end(Six), address.begin());
}

// Connections in TIME_WAIT that hold a port: a new connection to their peer cannot have it for a minute.
void SockSampler::eachWaiting(const std::function<void(const SocketEnds&, uint8_t family)>& hold) {
    if (reused == Reused::All) return;
    for (const uint8_t family : {uint8_t{AF_INET}, uint8_t{AF_INET6}}) {
        auto request = listRequest(IPPROTO_TCP, family, bitOf(SocketState::TimeWait));
        questions.askEach(request, piece, [&](std::string_view messages) {
            eachMessage(messages, [&](uint16_t type, std::string_view payload) {
                const auto socket = type == SOCK_DIAG_BY_FAMILY ? parseInetSocket(payload) : std::nullopt;
                if (!socket || socket->state != SocketState::TimeWait) return;
                const auto& ends = socket->ends;
                const bool local = isLoopback(family, ends.peer) || isLoopback(family, ends.address);
                if (reused == Reused::None || !local) hold(ends, family);
            });
        });
    }
}

static SocketEnds peerOf(const SocketEnds& ends) {
    SocketEnds peer;
    peer.peer = ends.peer, peer.peer_port = ends.peer_port;
    return peer;
}

// The peer with most connections of the own namespace from ports that the kernel chose. Those to a port with a listener
// were made by others. They are only counted where they can be half of all ports, and where many are in TIME_WAIT not
// in each pass, as these are listed for it.
void SockSampler::countPorts() {
    constexpr uint64_t Many = 4096;
    constexpr int64_t Turn = 10000000; // microseconds, a sixth of the time that TIME_WAIT takes
    const auto& own = now->spaces[0];
    const auto waiting = reused == Reused::All ? 0 : own.now.levels.time_wait.value_or(0);
    if (now->portRange == 0 || now->table.size() + waiting < now->portRange / 2) return now->ports.reset();
    if (waiting > Many ? now->ports && now->at_us < portsAt + Turn : !own.listed) return;
    portsAt = now->at_us;
    now->ports.reset();
    std::vector<bool> listening(size_t{UINT16_MAX} + 1);
    for (const auto& listener : now->listeners) {
        const auto& socket = now->table.slots[listener.socket];
        if (socket.space == 0) listening[socket.ends.port] = true;
    }
    std::unordered_map<uint64_t, uint64_t> counts; // by the digest of the peer
    const auto hold = [&](const SocketEnds& ends, uint8_t family) {
        if (ends.peer_port == 0 || ends.port < firstPort || ends.port > lastPort || listening[ends.port]) return;
        const auto ports = ++counts[digestOf(ends)];
        if (!now->ports || ports > now->ports->ports) now->ports = PortUse{peerOf(ends), family, ports};
    };
    const auto& slots = now->table.slots;
    now->table.each(0, IPPROTO_TCP, [&](uint32_t at) { hold(slots[at].ends, slots[at].family); });
    if (waiting > 0) eachWaiting(hold);
}

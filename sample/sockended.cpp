// TCP sockets that ended: the kernel reports them with their last counters.
#include "sample/sock.h"

#include "base/clock.h"
#include "parse/attributes.h"
#include "sample/sockfigures.h"

#include <algorithm>

#include <netinet/in.h>

static constexpr uint32_t None = SocketTable::None;

// The process that has the listener of its port; of a connection to elsewhere, one that talked to the same peer.
uint32_t SockSampler::ownerOfEnded(const Socket& socket) const {
    const auto accepting = acceptors.find(socket.ends.port);
    if (accepting != acceptors.end()) return accepting->second;
    const auto found = clients.find(digestOf(socket.ends));
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

void SockSampler::takeReports() {
    while (events.take(piece))
        eachMessage(piece.view(), [&](uint16_t, std::string_view payload) {
            const auto socket = parseInetSocket(payload);
            if (!socket || !socket->tcp) return;
            if (reports.size() < MostReports) reports.push_back(*socket);
            else reportsFull = true;
        });
}

// Reports are taken whenever a quarter of the room is used, if they go on to come as in this interval; but every few
// seconds at least, as a machine that was idle can begin to work at any time.
void SockSampler::planLooks(int64_t elapsed_us, bool lost) {
    constexpr uint64_t Each = 1280; // bytes of the room: the most that the kernel counts for a report
    constexpr int64_t Soonest = 20000, Latest = 2000000; // microseconds
    const auto quarter = static_cast<int64_t>(std::max<uint64_t>(events.room() / Each / 4, 1));
    const auto came = std::max<int64_t>(static_cast<int64_t>(reports.size()), lost ? quarter * 8 : 0);
    auto every = came == 0 || elapsed_us == 0 ? Latest : elapsed_us * quarter / came;
    if (lost) every = std::min(every, lookEvery / 2);
    lookEvery = std::clamp(every, Soonest, Latest);
    lookAt = getMonotonic() + lookEvery;
}

void SockSampler::look() {
    takeReports();
    lookAt = getMonotonic() + lookEvery;
}

void SockSampler::takeEvents() {
    acceptors.clear();
    for (const auto& listener : now->listeners) {
        const auto& socket = now->table.slots[listener.socket];
        if (!socket.free && socket.space == 0 && socket.owner) acceptors.try_emplace(socket.ends.port, socket.owner);
    }
    if (!reported) return;
    takeReports();
    const auto lost = events.overruns() - overruns;
    now->spaces[0].lost = lost + (reportsFull ? 1 : 0);
    overruns = events.overruns();
    reportsFull = false;
    planLooks(now->paired ? now->at_us - now->before_us : 0, lost > 0);
    for (const auto& report : reports) end(report);
    reports.clear();
}

// A pass over the own network namespace: what has to be asked for, so that nothing that moved is missed.
#include "sample/sock.h"

#include "sample/sockfigures.h"
#include "sample/sockrequest.h"

#include <algorithm>

#include <netinet/in.h>
#include <sys/socket.h>

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

// What the kernel counts for a whole network namespace.
#include "sample/sock.h"

#include "base/numbers.h"

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

// What changes only when connections begin, and settings that matter only then: people change them at any time.
void SockSampler::readSlow(SockSpace& space) {
    const bool still = space.paired && space.now.tcp == space.before.tcp && space.before.listen;
    space.now.listen = still ? space.before.listen : parseListenCounters(readOf(space, netstat, "netstat"));
    if (!space.own || (still && space.somaxconn)) return;
    readPortLimits();
    uint64_t most = 0;
    auto rest = somaxconn.read(text) ? text.view() : std::string_view();
    if (takeNumber(rest, most)) space.somaxconn = most;
}

#include "parse/netcounters.h"

#include "base/numbers.h"

// "Tcp: ActiveOpens InSegs\nTcp: 65 122\n": calls f(name, value) for the counters of a protocol. A value below 0 is
// none.
template <typename F> static bool eachCounter(std::string_view text, std::string_view protocol, F&& f) {
    std::string_view names, line;
    while (takeLine(text, line)) {
        if (takeWord(line) != protocol) continue;
        if (names.empty()) {
            names = line;
            continue;
        }
        for (auto name = takeWord(names); !name.empty(); name = takeWord(names)) {
            const auto word = takeWord(line);
            uint64_t value = 0;
            if (word.empty()) break;
            if (toNumber(word, value)) f(name, value);
        }
        return true;
    }
    return false;
}

bool parseTcpCounters(std::string_view snmp, TcpCounters& counters) {
    return eachCounter(snmp, "Tcp:", [&](std::string_view name, uint64_t value) {
        if (name == "ActiveOpens") counters.connects = value;
        else if (name == "PassiveOpens") counters.accepts = value;
        else if (name == "AttemptFails") counters.failed = value;
        else if (name == "EstabResets") counters.resets = value;
        else if (name == "InSegs") counters.segments_in = value;
        else if (name == "OutSegs") counters.segments_out = value;
        else if (name == "RetransSegs") counters.retransmitted = value;
        else if (name == "InErrs") counters.bad = value;
        else if (name == "OutRsts") counters.resets_sent = value;
    });
}

static void addUdp(std::string_view name, uint64_t value, UdpCounters& counters) {
    if (name == "InDatagrams") counters.in += value;
    else if (name == "OutDatagrams") counters.out += value;
    else if (name == "NoPorts") counters.no_port += value;
    else if (name == "InErrors") counters.errors += value;
    else if (name == "RcvbufErrors" || name == "SndbufErrors") counters.full += value;
}

bool parseUdpCounters(std::string_view snmp, UdpCounters& counters) {
    return eachCounter(snmp, "Udp:", [&](std::string_view name, uint64_t value) { addUdp(name, value, counters); });
}

// "Udp6InDatagrams                 \t65\n"
bool parseUdp6Counters(std::string_view snmp6, UdpCounters& counters) {
    constexpr std::string_view Prefix = "Udp6";
    bool found = false;
    for (std::string_view line; takeLine(snmp6, line);) {
        if (!line.starts_with(Prefix)) continue;
        auto name = takeWord(line);
        name.remove_prefix(Prefix.size());
        uint64_t value = 0;
        if (!toNumber(takeWord(line), value)) continue;
        found = true;
        addUdp(name, value, counters);
    }
    return found;
}

std::optional<ListenCounters> parseListenCounters(std::string_view netstat) {
    ListenCounters counters;
    bool known = false;
    eachCounter(netstat, "TcpExt:", [&](std::string_view name, uint64_t value) {
        if (name == "ListenOverflows") counters.overflows = value, known = true;
        else if (name == "ListenDrops") counters.drops = value, known = true;
        else if (name == "SyncookiesSent") counters.cookies = value;
    });
    return known ? std::optional(counters) : std::nullopt;
}

void parseSocketLevels(std::string_view sockstat, SocketLevels& levels) {
    for (std::string_view line; takeLine(sockstat, line);) {
        const auto title = takeWord(line);
        for (auto name = takeWord(line); !name.empty(); name = takeWord(line)) {
            uint64_t value = 0;
            if (!toNumber(takeWord(line), value)) break;
            const auto set = [&](std::string_view where, std::string_view what, auto& to) {
                if (title == where && name == what) to = value;
            };
            set("sockets:", "used", levels.used);
            set("TCP:", "inuse", levels.tcp4), set("TCP6:", "inuse", levels.tcp6);
            set("UDP:", "inuse", levels.udp4), set("UDP6:", "inuse", levels.udp6);
            set("TCP:", "orphan", levels.orphans), set("TCP:", "tw", levels.time_wait);
            set("TCP:", "mem", levels.tcp_pages), set("UDP:", "mem", levels.udp_pages);
        }
    }
}

// Made-up sockets, and a sampler of them.
#pragma once

#include "model/sock.h"
#include "tests/unit/made.h"

inline std::string snmp(uint64_t in, uint64_t out) {
    return "file /proc/net/snmp <<E\nTcp: ActiveOpens PassiveOpens InSegs OutSegs RetransSegs\nTcp: 0 0 " +
           std::to_string(in) + " " + std::to_string(out) + " 0\nE\n";
}

// `count` connections; those from `first` on have moved so many segments each way.
inline std::string sockets(unsigned count, unsigned first, unsigned segments) {
    std::string lines = "netlink sockdiag tcp4 <<E\n";
    for (unsigned i = 0; i < count; i++) {
        const unsigned moved = i >= first ? segments : 0;
        lines += "socket 10.0.0.1:80 10.1." + std::to_string(i / 250) + "." + std::to_string(i % 250 + 1) +
                 ":4000 cookie=" + std::to_string(i + 1) + " inode=" + std::to_string(i + 100) +
                 " received=" + std::to_string(moved * 10) + " sent=0 in=" + std::to_string(moved) +
                 " out=" + std::to_string(moved) + "\n";
    }
    return lines + "E\n";
}

struct Sampled {
    Helper helper;
    SockSampler sampler{Root(), helper};
    SockSample sample;
    void pass(const std::vector<Ran>& ran) { sampler.sample(ran, {}, sample); }
    const SockSpace& own() const { return sample.spaces[0]; }
};

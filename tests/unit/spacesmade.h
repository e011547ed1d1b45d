// Made-up network namespaces with sockets.
#pragma once

#include "tests/unit/sockmade.h"

#include <string>
#include <vector>

// Namespaces with a process and four connections each, which have moved so many segments.
inline std::string namespaces(unsigned count, unsigned segments) {
    std::string lines;
    for (unsigned i = 0; i < count; i++) {
        const auto inode = std::to_string(5000 + i), process = "/proc/" + std::to_string(100 + i);
        lines += "link " + process + "/ns/net net:[" + inode + "]\n";
        lines +=
            "file " + process + "/net/snmp <<E\nTcp: InSegs OutSegs\nTcp: " + std::to_string(4 * segments) + " 0\nE\n";
        lines += "netlink sockdiag tcp4@" + inode + " <<E\n";
        for (unsigned socket = 1; socket <= 4; socket++)
            lines += "socket 10.0.0.1:80 10.1.1." + std::to_string(socket) + ":4000 cookie=" + std::to_string(socket) +
                     " inode=" + std::to_string(10000 + 4 * i + socket) + " rqueue=1 in=" + std::to_string(segments) +
                     "\n";
        lines += "E\n";
    }
    return lines;
}

inline std::vector<Ran> processesOf(unsigned count) {
    std::vector<Ran> all;
    for (unsigned i = 0; i < count; i++) all.push_back({static_cast<int>(100 + i), 7, 1, true, false, 'S'});
    return all;
}

// A namespace of the process 100 with connections that have moved so many segments. `more`: another line of its list.
inline std::string namespaceOf(unsigned connections, unsigned segments, const std::string& more = "") {
    std::string lines = "link /proc/100/ns/net net:[5000]\nfile /proc/100/net/snmp <<E\nTcp: InSegs OutSegs\nTcp: " +
                        std::to_string(4 * segments) + " 0\nE\nnetlink sockdiag tcp4@5000 <<E\n";
    for (unsigned i = 1; i <= connections; i++)
        lines += "socket 10.0.0.1:80 10.1." + std::to_string(i / 250) + "." + std::to_string(i % 250) +
                 ":4000 cookie=" + std::to_string(i) + " inode=" + std::to_string(10000 + i) +
                 " in=" + std::to_string(segments) + "\n";
    return lines + more + "E\n";
}

inline NetnsRow rowOf(const Sampled& sampled, uint64_t netns) {
    Interval interval;
    sockRows(sampled.sample, ProcSample(), ViewRow(), interval);
    for (const auto& row : interval.namespaces.rows)
        if (row.netns == netns) return row;
    return {};
}

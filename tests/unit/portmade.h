// A machine with socket tables as the classic form reads them, and processes made by hand that own sockets.
#pragma once

#include "classic/collect/port.h"
#include "classic/collect/settings.h"
#include "tests/unit/made.h"

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

// The first line of a table.
inline const std::string Header =
    "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode\n";

// A row as the kernel prints it, but without the padding.
inline std::string rowOf(int sl, int64_t inode, const char* local = "0100007F:0016", const char* st = "01") {
    return std::to_string(sl) + ": " + local + " 0200000A:D431 " + st +
           " 00000000:00000000 00:00000000 00000000  0 0 " + std::to_string(inode) +
           " 1 0000000000000000 100 0 0 10 0\n";
}

// A table of sockets with these inodes.
inline std::string rowsOf(std::initializer_list<int64_t> inodes) {
    std::string text = Header;
    int sl = 0;
    for (auto inode : inodes) text += rowOf(sl++, inode);
    return text;
}

// A made-up machine with a few steps: step N has the N-th TCP text and the N-th UDP text as its tables.
struct Sockets : Made {
    explicit Sockets(const std::vector<std::string>& tcp, const std::vector<std::string>& udp = {})
        : Made(worldOf(tcp, udp)) {}
    static std::string worldOf(const std::vector<std::string>& tcp, const std::vector<std::string>& udp) {
        std::string text;
        for (size_t i = 0; i < tcp.size(); i++) {
            text += "step " + std::to_string(i) + "\nfile /proc/net/tcp <<END\n" + tcp[i] + "END\n";
            if (i < udp.size()) text += "file /proc/net/udp <<END\n" + udp[i] + "END\n";
        }
        return text;
    }
};

// A table of processes that have sockets open.
struct MadeProcesses : TProcTable {
    MadeProcesses& add(int pid, int ppid, const char* cmd, const std::string& arg,
                       std::initializer_list<int64_t> inodes) {
        auto& p = procs.emplace_back();
        p.pid = pid, p.ppid = ppid, p.cmd = cmd;
        p.arg = {static_cast<uint32_t>(texts.size()), static_cast<uint32_t>(arg.size())};
        texts += arg;
        p.fdinfo = {static_cast<uint32_t>(fds.size()), 0};
        for (auto inode : inodes) open(inode);
        proccount = capacity = static_cast<int>(procs.size());
        return *this;
    }
    // One more descriptor of the last process.
    void open(int64_t inode) {
        auto& fd = fds.emplace_back();
        fd.fd = procs.back().fdinfo.count++;
        fd.inode = inode;
    }
};

// Each test starts with -V off and restores the setting at its end.
struct Port : testing::Test {
    ~Port() override { netdebug = 0; }
};

// Of each owner the row of its process and the number of its descriptor.
using Owners = std::vector<std::pair<int, int>>;
inline Owners ownersOf(const TPortTable& table, size_t row) {
    Owners owners;
    for (auto& owner : table.ownersOf(table.rows.at(row))) owners.emplace_back(owner.procindex, owner.fdindex);
    return owners;
}

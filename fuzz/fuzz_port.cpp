// Socket tables of two passes and the descriptors that may own their sockets, separated by form feeds. The first part
// has the descriptors: each byte is an inode number, and a newline begins the next process.
#include "classic/collect/hexadecimal.h"
#include "classic/collect/port.h"
#include "fuzz/check.h"

#include <algorithm>

static void addProcess(TProcTable& processes) {
    auto& p = processes.procs.emplace_back();
    p.pid = processes.proccount++;
    p.cmd = "some";
    p.arg = {0, p.pid % 2 ? 0U : static_cast<uint32_t>(processes.texts.size())};
    p.fdinfo = {static_cast<uint32_t>(processes.fds.size()), 0};
}

static void setProcesses(std::string_view inodes, TProcTable& processes) {
    processes.texts = "some --command";
    addProcess(processes);
    for (char c : inodes) {
        if (c == '\n') {
            addProcess(processes);
            continue;
        }
        processes.procs.back().fdinfo.count++;
        processes.fds.emplace_back().inode = static_cast<unsigned char>(c);
    }
}

// Whether a walk over all descriptors finds the same owners.
static bool isOwnersOf(const TPortTable& table, const TPortInfo& row, TProcTable& processes) {
    const auto owners = table.ownersOf(row);
    size_t found = 0;
    for (size_t p = 0; p < processes.procs.size() && row.inode > 0; p++) {
        const auto fds = processes.fdinfo(processes.procs[p]);
        for (size_t f = 0; f < fds.size() && found < 16; f++) {
            if (fds[f].inode != row.inode) continue;
            if (found == owners.size()) return false;
            const auto& owner = owners[found++];
            if (static_cast<size_t>(owner.procindex) != p || static_cast<size_t>(owner.fdindex) != f) return false;
        }
    }
    return found == owners.size();
}

static void checkTable(const TPortTable& table, TProcTable& processes) {
    int counted = 0;
    for (int count : table.statuscount) counted += count;
    for (auto& row : table.rows) {
        check(row.status >= 0 && row.status <= 11 && (row.protocol == 'T' || row.status == 0));
        check(isOwnersOf(table, row, processes));
        check(table.ref(row).size() < 1024);
        counted -= row.protocol == 'T';
    }
    check(counted == 0);
    const auto rows = static_cast<int32_t>(table.rows.size());
    for (auto& fd : processes.fds) {
        check(fd.portinfo < rows);
        if (fd.portinfo >= 0) check(table.rows[static_cast<size_t>(fd.portinfo)].inode == fd.inode);
    }
}

static std::string_view cutPart(std::string_view& rest) {
    const auto part = rest.substr(0, rest.find('\f'));
    rest.remove_prefix(std::min(part.size() + 1, rest.size()));
    return part;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    ToUINT(rest);
    ToAddr(rest);
    TProcTable processes;
    TPortTable table;
    setProcesses(cutPart(rest), processes);
    // The processes stay as they are, so that kept owners are what a search would find.
    for (int pass = 0; pass < 2; pass++) {
        const auto tcp = cutPart(rest), udp = cutPart(rest);
        for (auto& fd : processes.fds) fd.portinfo = -1;
        getportrows(tcp, udp, table, &processes, 20 + 10 * pass);
        checkTable(table, processes);
    }
    return 0;
}

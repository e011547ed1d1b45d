#include "model/sockowner.h"

#include <algorithm>

#include <netinet/in.h>

const Process* processOf(const ProcSample& processes, uint32_t pid) {
    const auto* entry = processes.find(static_cast<int>(pid));
    return entry ? &processes.slots[entry->slot] : nullptr;
}

void setOwner(const ProcSample& processes, uint32_t pid, uint16_t owners, bool inferred, SocketOwner& row) {
    if (pid == 0) return;
    row.mark = inferred ? "~" : "=";
    row.owners = std::max<uint64_t>(owners, 1);
    row.pid = pid;
    if (const auto* process = processOf(processes, pid)) {
        row.start = process->start;
        row.process = process->name;
        if (process->user) row.user = *process->user;
        if (process->group) row.unit = process->group->unit, row.cgroup = process->group->path;
        return;
    }
    for (const auto& gone : processes.gone)
        if (gone.pid == static_cast<int>(pid)) row.start = gone.start, row.process = gone.name;
}

std::string serviceOf(const SockSample& sample, const Socket& socket, uint16_t port) {
    const auto found = sample.services.find({socket.protocol == IPPROTO_TCP ? 't' : 'u', port});
    return found == sample.services.end() ? std::string() : found->second;
}

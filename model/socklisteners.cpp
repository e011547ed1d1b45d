#include "model/socklisteners.h"

#include "model/sockowner.h"

#include <algorithm>
#include <unordered_map>

#include <netinet/in.h>

void listenRows(const SockSample& sample, const ProcSample& processes, Interval& interval) {
    std::unordered_map<uint64_t, uint64_t> begun; // by port and namespace
    const auto key = [](const Socket& socket) { return uint64_t{socket.space} << 16 | socket.ends.port; };
    for (const auto& listener : sample.listeners) begun[key(sample.table.slots[listener.socket])];
    const auto countIn = [&](const Socket& socket) {
        if (const auto found = begun.find(key(socket)); found != begun.end()) found->second++;
    };
    for (const auto& change : sample.changes)
        if (change.born && sample.table.slots[change.socket].protocol == IPPROTO_TCP &&
            sample.table.slots[change.socket].state != SocketState::Listen)
            countIn(sample.table.slots[change.socket]);
    for (const auto& ended : sample.ended)
        if (ended.born) countIn(ended.socket);
    for (const auto& listener : sample.listeners) {
        const auto& socket = sample.table.slots[listener.socket];
        if (!interval.complete && socket.receive_queue == 0 && listener.drops == 0) continue;
        auto& row = interval.listeners.rows.emplace_back();
        row.netns = sample.spaces[socket.space].inode, row.cookie = socket.cookie, row.family = familyOf(socket);
        row.address = addressText(socket.family, socket.ends.address), row.port = socket.ends.port;
        row.service = serviceOf(sample, socket, socket.ends.port);
        row.backlog = socket.receive_queue, row.limit = socket.send_queue;
        if (sample.paired) row.drops = listener.drops, row.accepted = begun[key(socket)];
        // The oldest of its owners: the one that others were forked from.
        const Process* oldest = nullptr;
        uint64_t asleep = 0, stopped = 0, cpu_us = 0;
        for (const auto pid : listener.owners) {
            const auto* process = processOf(processes, pid);
            if (!process) continue;
            if (!oldest || process->start < oldest->start) oldest = process;
            asleep += process->state == 'S' || process->state == 'D' || process->state == 'I';
            stopped += process->state == 'T' || process->state == 't';
            const bool ran = process->pass == processes.pass;
            if (ran && process->now.cpu_ns >= process->before.cpu_ns)
                cpu_us += (process->now.cpu_ns - process->before.cpu_ns) / 1000;
        }
        const auto owner = oldest ? static_cast<uint32_t>(oldest->pid) : socket.owner;
        const auto owners = std::max(listener.owners.size(), size_t{socket.owners});
        setOwner(processes, owner, static_cast<uint16_t>(std::min<size_t>(owners, UINT16_MAX)), false, row);
        if (!listener.owners.empty()) row.asleep = asleep, row.stopped = stopped, row.owners_cpu_us = cpu_us;
    }
}

#include "model/socklisteners.h"

#include "model/sockowner.h"

#include <algorithm>
#include <array>
#include <map>
#include <tuple>
#include <vector>

#include <netinet/in.h>

namespace {
// How many connections were seen to begin at each listener. One that is bound to the address takes precedence over one
// for any; of several at one address nobody knows which one it was, and the first of them has them all.
class Beginnings {
    using Place = std::tuple<uint16_t, uint16_t, uint8_t, std::array<unsigned char, 16>>;
    const SockSample& sample;
    std::map<Place, size_t> places; // listeners
    std::vector<uint64_t> counts;   // by listener

    static Place placeOf(const Socket& socket, const std::array<unsigned char, 16>& address) {
        return {socket.space, socket.ends.port, socket.family, address};
    }
    void add(const Socket& socket) {
        auto found = places.find(placeOf(socket, socket.ends.address));
        if (found == places.end()) found = places.find(placeOf(socket, {}));
        if (found != places.end()) counts[found->second]++;
    }

public:
    explicit Beginnings(const SockSample& of) : sample(of), counts(of.listeners.size()) {
        const auto& slots = sample.table.slots;
        for (size_t i = 0; i < sample.listeners.size(); i++) {
            const auto& listener = slots[sample.listeners[i].socket];
            places.try_emplace(placeOf(listener, listener.ends.address), i);
        }
        for (const auto& change : sample.changes) {
            const auto& socket = slots[change.socket];
            if (change.born && socket.protocol == IPPROTO_TCP && socket.state != SocketState::Listen) add(socket);
        }
        for (const auto& ended : sample.ended)
            if (ended.born) add(ended.socket);
    }
    uint64_t of(size_t listener) const { return counts[listener]; }
};
} // namespace

void listenRows(const SockSample& sample, const ProcSample& processes, Interval& interval) {
    const Beginnings begun(sample);
    for (size_t i = 0; i < sample.listeners.size(); i++) {
        const auto& listener = sample.listeners[i];
        const auto& socket = sample.table.slots[listener.socket];
        const bool idle = socket.receive_queue == 0 && listener.drops == 0 && begun.of(i) == 0;
        if (idle && !interval.complete) continue;
        auto& row = interval.listeners.rows.emplace_back();
        row.netns = sample.spaces[socket.space].inode, row.cookie = socket.cookie, row.family = familyOf(socket);
        row.address = addressText(socket.family, socket.ends.address), row.port = socket.ends.port;
        row.service = serviceOf(sample, socket, socket.ends.port);
        row.backlog = socket.receive_queue, row.limit = socket.send_queue;
        if (sample.paired) row.drops = listener.drops, row.accepted = begun.of(i);
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

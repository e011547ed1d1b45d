#include "model/sock.h"

#include "model/amounts.h"
#include "model/sockconnections.h"
#include "model/socklisteners.h"
#include "model/sockowner.h"

#include <unordered_map>

#include <netinet/in.h>
#include <sys/socket.h>

// --- Namespaces

std::string spaceNameOf(uint32_t pid, const ProcSample& processes) {
    const auto* process = processOf(processes, pid);
    if (!process) return {};
    return process->group && !process->group->unit.empty() ? process->group->unit : process->name;
}

static void spaceRow(const SockSample& sample, const SockSpace& space, const ProcSample& processes, NetnsRow& row) {
    row.netns = space.inode, row.own = space.own, row.known = space.known;
    if (!space.own) row.name = spaceNameOf(space.pid, processes);
    if (space.known) {
        row.sockets = 0;
        for (size_t group = 0; group + 1 < SocketGroups; group++) *row.sockets += space.counts[group].sockets;
    }
    const auto &is = space.now, &was = space.before;
    if (is.known) {
        row.orphans = is.levels.orphans, row.time_wait = is.levels.time_wait;
        if (is.levels.tcp_pages) row.tcp_memory = *is.levels.tcp_pages * processes.page_size;
    }
    row.somaxconn = space.somaxconn;
    if (space.own) row.left_out = sample.leftOut;
    row.moved = space.moved, row.asked = space.asked, row.listed = space.listed;
    if (space.known && sample.paired) {
        row.explained = space.explained, row.received = space.received, row.sent = space.sent;
        if (space.lost) row.ended = space.ended, row.reports_lost = space.lost;
    }
    if (!space.paired || !is.known) return;
    row.connects = grown(was.tcp.connects, is.tcp.connects), row.accepts = grown(was.tcp.accepts, is.tcp.accepts);
    row.failed = grown(was.tcp.failed, is.tcp.failed), row.resets = grown(was.tcp.resets, is.tcp.resets);
    row.segments_in = grown(was.tcp.segments_in, is.tcp.segments_in);
    row.segments_out = grown(was.tcp.segments_out, is.tcp.segments_out);
    row.retransmitted = grown(was.tcp.retransmitted, is.tcp.retransmitted);
    row.bad = grown(was.tcp.bad, is.tcp.bad), row.resets_sent = grown(was.tcp.resets_sent, is.tcp.resets_sent);
    row.udp_in = grown(was.udp.in, is.udp.in), row.udp_out = grown(was.udp.out, is.udp.out);
    row.udp_no_port = grown(was.udp.no_port, is.udp.no_port);
    row.udp_errors = grown(was.udp.errors, is.udp.errors), row.udp_full = grown(was.udp.full, is.udp.full);
    if (!is.listen || !was.listen) return;
    row.overflows = grown(was.listen->overflows, is.listen->overflows);
    row.drops = grown(was.listen->drops, is.listen->drops);
    row.cookies = grown(was.listen->cookies, is.listen->cookies);
}

static void countRow(const SockSpace& space, size_t group, SocksRow& row) {
    static constexpr const char* Protocols[SocketGroups] = {"tcp", "tcp", "udp", "udp", "unix"};
    const auto& count = space.counts[group];
    const auto in = [&](SocketState state) { return count.states[static_cast<size_t>(state)]; };
    row.netns = space.inode, row.protocol = Protocols[group];
    row.family = group + 1 == SocketGroups ? 0 : group % 2 == 0 ? 4 : 6;
    row.sockets = count.sockets;
    row.established = in(SocketState::Established), row.syn_sent = in(SocketState::SynSent);
    row.syn_received = in(SocketState::SynReceived) + in(SocketState::NewSynReceived);
    row.fin_wait1 = in(SocketState::FinWait1), row.fin_wait2 = in(SocketState::FinWait2);
    row.close_wait = in(SocketState::CloseWait), row.last_ack = in(SocketState::LastAck);
    row.closing = in(SocketState::Closing), row.listening = in(SocketState::Listen);
    row.closed = in(SocketState::Closed) + in(SocketState::BoundInactive);
    row.queued = count.queued, row.receive_queue = count.receive_queue, row.send_queue = count.send_queue;
}

static void spaceRows(const SockSample& sample, const ProcSample& processes, Interval& interval) {
    for (const auto& space : sample.spaces) {
        if (space.free || (!space.now.known && !space.known)) continue;
        const bool told = space.own || interval.complete || !space.paired || space.now.tcp != space.before.tcp ||
                          space.now.udp != space.before.udp || space.listed;
        if (!told) continue;
        spaceRow(sample, space, processes, interval.namespaces.rows.emplace_back());
        for (size_t group = 0; space.known && group < SocketGroups; group++)
            if (space.counts[group].sockets > 0) countRow(space, group, interval.socketsTotal.rows.emplace_back());
    }
}

// --- What other areas show

static void addToProcesses(const SockSample& sample, Rows<ProcRow>& rows) {
    struct Bytes {
        uint64_t received = 0, sent = 0;
    };
    std::unordered_map<uint64_t, Bytes> by; // pid
    const auto add = [&](const Socket& socket, const SocketCounters& before) {
        if (socket.owner == 0) return;
        auto& bytes = by[socket.owner];
        bytes.received += socket.counters.received - before.received, bytes.sent += socket.counters.sent - before.sent;
    };
    for (const auto& change : sample.changes) add(sample.table.slots[change.socket], change.before);
    for (const auto& ended : sample.ended) add(ended.socket, ended.before);
    for (auto& row : rows.rows) {
        const auto found = by.find(row.pid);
        row.tcp_received = found == by.end() ? 0 : found->second.received;
        row.tcp_sent = found == by.end() ? 0 : found->second.sent;
    }
}

// "ports to 10.0.0.5:5432": each connection to one place needs a port of its own.
static void addPorts(const SockSample& sample, Interval& interval) {
    if (!sample.ports || sample.portRange == 0) return;
    const double used = static_cast<double>(sample.ports->ports) * 100 / static_cast<double>(sample.portRange);
    if (used < NearLimit) return;
    auto& row = interval.limits.rows.emplace_back();
    const auto address = addressText(sample.ports->family, sample.ports->peer.peer);
    row.name = "ports to " + (sample.ports->family == AF_INET6 ? "[" + address + "]" : address) + ":" +
               std::to_string(sample.ports->peer.peer_port);
    row.use = sample.ports->ports, row.limit = sample.portRange;
    interval.limits.sampled = true;
}

void sockRows(const SockSample& sample, const ProcSample& processes, const ViewRow& asked, Interval& interval) {
    const int64_t elapsed_us = sample.paired ? sample.at_us - sample.before_us : 0;
    const auto begin = [&](auto& rows) { rows.sampled = true, rows.elapsed_us = elapsed_us; };
    begin(interval.namespaces), begin(interval.socketsTotal), begin(interval.listeners), begin(interval.sockets);
    spaceRows(sample, processes, interval);
    if (interval.namespaces.rows.empty()) return;
    listenRows(sample, processes, interval);
    sockRowsOf(sample, processes, asked, interval.sockets);
    addPorts(sample, interval);
    if (sample.paired && sample.spaces[0].known) addToProcesses(sample, interval.processes);
}

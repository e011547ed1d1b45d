#include "model/sock.h"

#include "model/amounts.h"

#include <algorithm>
#include <unordered_map>

#include <netinet/in.h>
#include <sys/socket.h>

// --- Owners

static const Process* processOf(const ProcSample& processes, uint32_t pid) {
    const auto found = std::lower_bound(processes.entries.begin(), processes.entries.end(), static_cast<int>(pid),
                                        [](auto& entry, int wanted) { return entry.pid < wanted; });
    if (found == processes.entries.end() || found->pid != static_cast<int>(pid)) return nullptr;
    return &processes.slots[found->slot];
}

static void setOwner(const ProcSample& processes, uint32_t pid, uint16_t owners, bool inferred, SocketOwner& row) {
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

static std::string serviceOf(const SockSample& sample, const Socket& socket, uint16_t port) {
    const auto found = sample.services.find({socket.protocol == IPPROTO_TCP ? 't' : 'u', port});
    return found == sample.services.end() ? std::string() : found->second;
}

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
        row.tcp_memory = is.levels.tcp_pages * processes.page_size;
    }
    row.somaxconn = space.somaxconn;
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

// --- Listeners

static uint64_t familyOf(const Socket& socket) { return socket.family == AF_INET ? 4 : 6; }

static void listenRows(const SockSample& sample, const ProcSample& processes, Interval& interval) {
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

// --- Sockets

namespace {
// One that may have a row.
struct Candidate {
    const Socket* socket = nullptr;
    const SocketCounters* before = nullptr; // null: it did not move
    bool born = false, ended = false, inferred = false;

    uint64_t received() const { return before ? socket->counters.received - before->received : 0; }
    uint64_t sent() const { return before ? socket->counters.sent - before->sent : 0; }
    uint64_t of(uint32_t SocketCounters::* counter) const {
        return before ? grown32(before->*counter, socket->counters.*counter) : 0;
    }
};
} // namespace

static void sockRow(const SockSample& sample, const ProcSample& processes, const Candidate& candidate, SockRow& row) {
    const auto& socket = *candidate.socket;
    const bool tcp = socket.protocol == IPPROTO_TCP;
    row.netns = sample.spaces[socket.space].inode, row.cookie = socket.cookie;
    row.protocol = tcp ? "tcp" : "udp", row.family = familyOf(socket);
    row.state = candidate.ended ? std::string("ENDED") : std::string(stateName(socket.state));
    row.address = addressText(socket.family, socket.ends.address), row.port = socket.ends.port;
    row.peer = addressText(socket.family, socket.ends.peer), row.peer_port = socket.ends.peer_port;
    row.service = serviceOf(sample, socket, socket.ends.port);
    row.peer_service = serviceOf(sample, socket, socket.ends.peer_port);
    row.uid = socket.uid, row.born = candidate.born;
    setOwner(processes, socket.owner, socket.owners, candidate.inferred, row);
    row.receive_queue = socket.receive_queue, row.send_queue = socket.send_queue;
    if (socket.unread_us && !candidate.ended)
        row.unread_us = static_cast<uint64_t>(std::max<int64_t>(sample.at_us - socket.unread_us, 0));
    if (tcp && !candidate.ended) row.rtt_us = socket.rtt_us, row.window = socket.window, row.backoff = socket.backoff;
    if (!sample.paired) return;
    row.drops = candidate.of(&SocketCounters::drops);
    if (!tcp) return;
    row.retransmitted = candidate.of(&SocketCounters::retransmitted);
    if (!socket.hasBytes) return;
    row.received = candidate.received(), row.sent = candidate.sent();
    row.segments_in = candidate.of(&SocketCounters::segments_in);
    row.segments_out = candidate.of(&SocketCounters::segments_out);
    const uint64_t before =
        candidate.before ? candidate.before->retransmitted_bytes : socket.counters.retransmitted_bytes;
    row.retransmitted_bytes =
        socket.counters.retransmitted_bytes - std::min(before, socket.counters.retransmitted_bytes);
}

// Those with most of each figure, of those that `fits` says; `kept` marks them.
template <typename Fits>
static void keepLargest(const std::vector<Candidate>& all, size_t most, std::vector<char>& kept, const Fits& fits) {
    using Figure = uint64_t (*)(const Candidate&);
    static constexpr Figure Figures[] = {
        [](const Candidate& c) { return uint64_t{c.socket->receive_queue} + c.socket->send_queue; },
        [](const Candidate& c) { return c.received() + c.sent(); },
        [](const Candidate& c) { return c.of(&SocketCounters::retransmitted); },
        [](const Candidate& c) { return c.of(&SocketCounters::drops); },
        [](const Candidate& c) { return static_cast<uint64_t>(c.socket->unread_us > 0 && !c.ended); },
    };
    std::vector<std::pair<uint64_t, size_t>> order;
    order.reserve(all.size());
    for (const auto figure : Figures) {
        order.clear();
        for (size_t i = 0; i < all.size(); i++)
            if (const auto value = kept[i] || !fits(all[i]) ? 0 : figure(all[i])) order.emplace_back(value, i);
        const size_t share = std::min(most / std::size(Figures), order.size());
        const auto end = order.begin() + static_cast<std::ptrdiff_t>(share);
        std::partial_sort(order.begin(), end, order.end(), [](auto& a, auto& b) {
            return a.first != b.first ? a.first > b.first : a.second < b.second;
        });
        for (auto at = order.begin(); at != end; ++at) kept[at->second] = 1;
    }
}

static bool fitsView(const ViewRow& asked, const Socket& socket, bool ended) {
    const auto& ends = socket.ends;
    return wantsSocket(asked, ends.port, ends.peer_port, addressText(socket.family, ends.address),
                       addressText(socket.family, ends.peer), ended ? "ENDED" : stateName(socket.state)) &&
           (asked.pid.empty() || hasNumber(asked.pid, socket.owner));
}

static std::vector<Candidate> candidatesOf(const SockSample& sample) {
    std::vector<Candidate> all;
    all.reserve(sample.changes.size() + sample.queued.size() + sample.ended.size());
    const auto& slots = sample.table.slots;
    const auto isListener = [](const Socket& socket) { return socket.state == SocketState::Listen; };
    for (const auto& change : sample.changes)
        if (!isListener(slots[change.socket]))
            all.push_back({&slots[change.socket], &change.before, change.born, false, false});
    for (const auto at : sample.queued)
        if (slots[at].moved != sample.pass && !isListener(slots[at]))
            all.push_back({&slots[at], nullptr, false, false, false});
    for (const auto& ended : sample.ended)
        all.push_back({&ended.socket, &ended.before, ended.born, true, ended.inferred});
    return all;
}

// The amounts of those without a row are added up.
static void sockRowsOf(const SockSample& sample, const ProcSample& processes, const ViewRow& asked,
                       Rows<SockRow>& rows) {
    constexpr size_t Most = 400; // leaves room for what the findings name
    const auto all = candidatesOf(sample);
    if (all.size() <= Most) {
        for (const auto& one : all) sockRow(sample, processes, one, rows.rows.emplace_back());
        return;
    }
    std::vector<char> kept(all.size());
    const bool filtered = !asked.port.empty() || !asked.address.empty() || !asked.state.empty() || !asked.pid.empty();
    if (filtered) keepLargest(all, Most / 2, kept, [&](auto& c) { return fitsView(asked, *c.socket, c.ended); });
    keepLargest(all, filtered ? Most / 2 : Most, kept, [](auto&) { return true; });
    auto& rest = rows.rest.emplace();
    const auto add = [](std::optional<uint64_t>& to, uint64_t amount) { to = to.value_or(0) + amount; };
    for (size_t i = 0; i < all.size(); i++) {
        const auto& one = all[i];
        if (kept[i]) {
            sockRow(sample, processes, one, rows.rows.emplace_back());
            continue;
        }
        if (!sample.paired) continue;
        add(rest.drops, one.of(&SocketCounters::drops));
        if (one.socket->protocol != IPPROTO_TCP) continue;
        add(rest.retransmitted, one.of(&SocketCounters::retransmitted));
        add(rest.received, one.received()), add(rest.sent, one.sent());
        add(rest.segments_in, one.of(&SocketCounters::segments_in));
        add(rest.segments_out, one.of(&SocketCounters::segments_out));
        const auto before = one.before ? one.before->retransmitted_bytes : one.socket->counters.retransmitted_bytes;
        add(rest.retransmitted_bytes, one.socket->counters.retransmitted_bytes - before);
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

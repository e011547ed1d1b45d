#include "model/sockconnections.h"

#include "model/amounts.h"
#include "model/sockowner.h"

#include <algorithm>

#include <netinet/in.h>

namespace {
// One that may have a row.
struct Candidate {
    const Socket* socket = nullptr;
    const SocketCounters* before = nullptr; // null: it did not move
    bool born = false, ended = false, inferred = false;

    uint64_t received() const { return before ? socket->counters.received - before->received : 0; }
    uint64_t sent() const { return before ? socket->counters.sent - before->sent : 0; }
    uint64_t sentAgain() const { // bytes
        const auto now = socket->counters.retransmitted_bytes;
        return before ? now - std::min(before->retransmitted_bytes, now) : 0;
    }
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
    row.retransmitted_bytes = candidate.sentAgain();
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

void sockRowsOf(const SockSample& sample, const ProcSample& processes, const ViewRow& asked, Rows<SockRow>& rows) {
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
        add(rest.retransmitted_bytes, one.sentAgain());
    }
}

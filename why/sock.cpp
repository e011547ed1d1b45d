#include "base/figures.h"
#include "why/rules.h"

#include <algorithm>
#include <map>
#include <tuple>

// --- Names

static std::string endText(const std::string& address, uint64_t family, uint64_t port) {
    const std::string any = family == 6 ? "::" : "0.0.0.0";
    const auto& text = address.empty() ? any : address;
    return (family == 6 ? "[" + text + "]" : text) + ":" + std::to_string(port);
}

std::string objectOf(const ListenRow& listener) { return endText(listener.address, listener.family, listener.port); }

std::string nameOfOwner(const SocketOwner& owner) {
    return (owner.process.empty() ? "?" : owner.process) + "[" + std::to_string(owner.pid.value_or(0)) + "]";
}

static Culprit culpritOf(const SocketOwner& owner, double amount) {
    Culprit culprit;
    culprit.row.pid = owner.pid, culprit.row.start = owner.start;
    culprit.row.name = owner.pid ? owner.process.empty() ? "?" : owner.process : "a process that is not known";
    culprit.row.user = owner.user, culprit.row.unit = owner.unit, culprit.row.cgroup = owner.cgroup;
    culprit.row.count = std::max<uint64_t>(owner.owners, 1);
    culprit.row.mark = owner.mark == "~" ? '~' : '=';
    culprit.amount = culprit.order = amount;
    return culprit;
}

// --- Listeners that overflow

// What the owner of a listener does instead of accepting.
static std::string stateText(const ListenRow& listener, double elapsed_us) {
    if (!listener.asleep || listener.owners == 0) return "its state is not known";
    const auto owners = static_cast<double>(listener.owners);
    const double cpu = percent(number(listener.owners_cpu_us), elapsed_us);
    const std::string all = listener.owners > 1 ? "all " : "";
    const auto share = fixedText(cpu, 1) + "% CPU";
    constexpr double Busy = 80; // percent of a CPU each
    if (number(listener.stopped) >= owners) return all + "stopped: it does not accept";
    if (number(listener.stopped) > 0) return countText(number(listener.stopped)) + " stopped, " + share;
    if (cpu >= Busy * owners) return all + "busy, " + share;
    if (number(listener.asleep) >= owners && cpu < Busy * owners / 2)
        return all + "asleep, " + share + ": it does not accept";
    return share + ": it accepts too slowly";
}

static const NetnsRow* namespaceOf(const Interval& interval, uint64_t netns) {
    for (auto& row : interval.namespaces.rows)
        if (row.netns == netns) return &row;
    return nullptr;
}

static void blameOwner(const Scene& scene, Finding& finding) {
    const auto& interval = scene.interval;
    const auto& listener = interval.listeners.rows[finding.at];
    const double dropped = number(listener.drops);
    const double amount = dropped > 0 ? dropped : number(listener.backlog);
    auto& culprit = finding.culprits.emplace_back(culpritOf(static_cast<const SocketOwner&>(listener), amount));
    culprit.row.evidence = stateText(listener, static_cast<double>(interval.listeners.elapsed_us));
    const auto* space = namespaceOf(interval, listener.netns);
    if (space && space->somaxconn && listener.limit)
        join(culprit.row.evidence, "asked for " + countText(number(listener.limit)) +
                                       (*listener.limit >= *space->somaxconn ? " or more" : "") + ", somaxconn " +
                                       countText(number(space->somaxconn)));
    finding.total = amount;
    if (dropped <= 0 || !space) return;
    // The listener counts what it dropped; the namespace counts it for all of them.
    finding.total = std::max(dropped, number(space->drops));
    finding.rest = "other listeners";
    finding.why.note = "host: ListenOverflows " + countText(number(space->overflows)) + ", ListenDrops " +
                       countText(number(space->drops)) + "; SYN cookies sent " + countText(number(space->cookies));
}

void judgeListeners(Scene& scene) {
    const auto& listeners = scene.interval.listeners;
    double dropped = 0;
    for (auto& listener : listeners.rows) dropped += number(listener.drops);
    for (size_t i = 0; i < listeners.rows.size(); i++) {
        const auto& listener = listeners.rows[i];
        const auto object = objectOf(listener);
        const double drops = perSecond(number(listener.drops), listeners);
        // One more than the limit finds room.
        const double used = percent(number(listener.backlog), number(listener.limit) + 1);
        const bool isDropping = drops > 0 && scene.limits.isBeyond(Rule::ListenDrops, drops);
        const bool isFull = number(listener.limit) > 0 && scene.measure(Rule::ListenBacklog, "LISTEN", object, used);
        if (!isDropping && !isFull) continue;
        auto& finding = isDropping ? scene.add(Rule::ListenDrops, "LISTEN", object, drops,
                                               45 + 20 * number(listener.drops) / dropped)
                                   : scene.add(Rule::ListenBacklog, "LISTEN", object, used, 50);
        finding.why.figure = isDropping ? "connections dropped" : "accept queue";
        finding.why.text = "accept queue " + countText(number(listener.backlog)) + " of " +
                           countText(number(listener.limit)) + (used >= 100 ? ", full" : "");
        if (!listener.unit.empty()) join(finding.why.text, listener.unit);
        finding.at = i;
        finding.blame = blameOwner;
    }
}

// --- Retransmissions

static void blamePeers(const Scene& scene, Finding& finding) {
    struct Peer {
        double again = 0, rtt_us = 0;
        uint64_t connections = 0;
        const SockRow* most = nullptr;
    };
    std::map<std::string, Peer> peers;
    const auto& space = scene.interval.namespaces.rows[finding.at];
    for (auto& socket : scene.interval.sockets.rows) {
        if (socket.netns != space.netns || number(socket.retransmitted) <= 0) continue;
        auto& peer = peers[socket.peer];
        peer.again += number(socket.retransmitted);
        peer.connections++;
        peer.rtt_us = std::max(peer.rtt_us, number(socket.rtt_us));
        if (!peer.most || number(socket.retransmitted) > number(peer.most->retransmitted)) peer.most = &socket;
    }
    for (auto& [address, peer] : peers) {
        auto& culprit = finding.culprits.emplace_back();
        culprit.row.name = address, culprit.row.mark = '=';
        culprit.row.evidence = countText(peer.again) + " segments of " +
                               countText(static_cast<double>(peer.connections)) +
                               (peer.connections == 1 ? " connection" : " connections");
        if (peer.rtt_us > 0) join(culprit.row.evidence, "round trip " + fixedText(peer.rtt_us / 1000, 1) + " ms");
        if (peer.most->pid) join(culprit.row.evidence, "most by " + nameOfOwner(*peer.most));
        culprit.amount = culprit.order = peer.again;
    }
    finding.total = number(space.retransmitted);
    finding.rest = "connections that are not known";
}

void judgeRetransmissions(Scene& scene) {
    constexpr double Least = 10; // segments a second
    const auto& spaces = scene.interval.namespaces;
    for (size_t i = 0; i < spaces.rows.size(); i++) {
        const auto& space = spaces.rows[i];
        const double again = number(space.retransmitted), sent = number(space.segments_out) + again;
        if (perSecond(again, spaces) < Least) continue;
        const double share = percent(again, sent);
        if (!scene.measure(Rule::TcpRetransmits, "TCP", space.name, share)) continue;
        auto& finding = scene.add(Rule::TcpRetransmits, "TCP", space.name, share, 45);
        finding.why.figure = "segments sent again";
        finding.why.text = countText(perSecond(again, spaces)) + "/s of " + countText(perSecond(sent, spaces)) + "/s";
        finding.at = i;
        finding.blame = blamePeers;
    }
}

// --- Sockets that nobody reads

static void blameReader(const Scene& scene, Finding& finding) {
    const auto& first = scene.interval.sockets.rows[finding.at];
    auto& culprit = finding.culprits.emplace_back(culpritOf(static_cast<const SocketOwner&>(first), 0));
    uint64_t sockets = 0;
    for (auto& socket : scene.interval.sockets.rows) {
        if (socket.pid != first.pid || socket.start != first.start || number(socket.unread_us) <= 0) continue;
        culprit.amount += number(socket.receive_queue);
        sockets++;
    }
    culprit.order = culprit.amount;
    culprit.row.evidence = sizeText(culprit.amount) + "B in " + countText(static_cast<double>(sockets)) +
                           (sockets == 1 ? " socket" : " sockets");
    for (auto& process : scene.interval.processes.rows)
        if (process.pid == first.pid && process.start == first.start && process.state == 'T')
            culprit.row.evidence += ", stopped";
    finding.total = culprit.amount;
    finding.why.total_unit = "B";
}

void judgeUnread(Scene& scene) {
    constexpr double Least = 16384;                          // bytes
    std::map<std::pair<uint64_t, uint64_t>, size_t> longest; // by process
    const auto& sockets = scene.interval.sockets.rows;
    for (size_t i = 0; i < sockets.size(); i++) {
        const auto& socket = sockets[i];
        if (!socket.pid || number(socket.unread_us) <= 0 || number(socket.receive_queue) < Least) continue;
        const auto [at, fresh] = longest.try_emplace({*socket.pid, socket.start.value_or(0)}, i);
        if (!fresh && number(socket.unread_us) > number(sockets[at->second].unread_us)) at->second = i;
    }
    for (auto& [process, i] : longest) {
        const auto& socket = sockets[i];
        const double seconds = number(socket.unread_us) / 1e6;
        const auto object = nameOfOwner(socket);
        if (!scene.measure(Rule::SockUnread, "SOCKET", object, seconds)) continue;
        auto& finding = scene.add(Rule::SockUnread, "SOCKET", object, seconds, 30);
        finding.why.figure = "unread for";
        finding.why.text =
            endText(socket.address, socket.family, socket.port) +
            (socket.peer.empty() ? "" : " from " + endText(socket.peer, socket.family, socket.peer_port)) + ", " +
            sizeText(number(socket.receive_queue)) + "B received";
        finding.at = i;
        finding.blame = blameReader;
    }
}

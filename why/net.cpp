#include "base/figures.h"
#include "base/numbers.h"
#include "why/rules.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>

static void blameNobody(const Scene&, Finding& finding) {
    finding.rest = "not accounted for: which connections these are is not known";
}

// Whether packets were dropped because there were more than a queue or ring has room for. Others are dropped because
// nobody wants them.
static bool isFull(const LinkRow& link) {
    return number(link.tx_dropped) + number(link.rx_missed) + number(link.rx_fifo) + number(link.rx_over) > 0;
}

// Connections from or to an address of the interface are taken to go through it. Headers are not part of their bytes.
static void blameConnections(const Scene& scene, Finding& finding) {
    const auto& interval = scene.interval;
    const auto& link = interval.links.rows[finding.at];
    const bool dropped = finding.why.rule == textOf(Rule::NetDrops).name;
    const bool receives = dropped ? number(link.tx_dropped) == 0 : number(link.rx_bytes) >= number(link.tx_bytes);
    struct Talker {
        double bytes = 0;
        const SockRow* most = nullptr;
    };
    std::map<std::pair<uint64_t, uint64_t>, Talker> talkers; // by process
    const auto moved = [&](const SockRow& socket) { return number(receives ? socket.received : socket.sent); };
    for (auto& socket : interval.sockets.rows) {
        if (moved(socket) <= 0 || !hasWord(link.addresses, socket.address)) continue;
        if (hasWord(link.addresses, socket.peer)) continue; // it stays on this machine
        auto& talker = talkers[{socket.pid.value_or(0), socket.start.value_or(0)}];
        talker.bytes += moved(socket);
        if (!talker.most || moved(socket) > moved(*talker.most)) talker.most = &socket;
    }
    for (auto& [process, talker] : talkers) {
        const auto& socket = *talker.most;
        auto& culprit = finding.culprits.emplace_back();
        culprit.row.pid = socket.pid, culprit.row.start = socket.start;
        culprit.row.name = socket.pid ? socket.process : "processes that are not known";
        culprit.row.user = socket.user, culprit.row.unit = socket.unit, culprit.row.cgroup = socket.cgroup;
        culprit.row.mark = '~';
        culprit.row.evidence = speedText(perSecond(talker.bytes, interval.sockets)) + ", most " +
                               (receives ? "from " : "to ") + socket.peer + " port " +
                               std::to_string(socket.peer_port) + " at port " + std::to_string(socket.port);
        culprit.amount = culprit.order = talker.bytes;
    }
    finding.total = receives ? number(link.rx_bytes) : number(link.tx_bytes);
    finding.why.total_unit = "B";
    finding.rest = "not accounted for: headers, what is no TCP, connections that are not known";
}

void judgeLinks(Scene& scene) {
    const auto& links = scene.interval.links;
    if (links.elapsed_us <= 0) return;
    for (size_t i = 0; i < links.rows.size(); i++) {
        const auto& link = links.rows[i];
        const auto add = [&](Rule rule, double value, double severity, const char* figure) {
            if (scene.has("LINK", link.name)) return;
            auto& finding = scene.add(rule, "LINK", link.name, value, severity);
            finding.why.figure = figure;
            finding.why.text = "receives " + speedText(perSecond(number(link.rx_bytes), links)) + ", sends " +
                               speedText(perSecond(number(link.tx_bytes), links));
            if (link.speed) join(finding.why.text, "speed " + bitsText(number(link.speed)));
            finding.at = i;
            const bool filled = rule == Rule::NetSpeed || (rule == Rule::NetDrops && isFull(link));
            finding.blame = filled && !scene.interval.sockets.rows.empty() ? blameConnections : blameNobody;
        };
        if (number(link.speed) > 0) {
            const double most = std::max(number(link.rx_bytes), number(link.tx_bytes));
            const double used = percent(perSecond(most * 8, links), number(link.speed));
            if (scene.measure(Rule::NetSpeed, "LINK", link.name, used))
                add(Rule::NetSpeed, used, std::min(used, 100.0) - 40, "used of its speed");
        }
        const double drops = perSecond(number(link.rx_dropped) + number(link.tx_dropped), links);
        const double errors = perSecond(number(link.rx_errors) + number(link.tx_errors), links);
        if (scene.limits.isBeyond(Rule::NetDrops, drops)) add(Rule::NetDrops, drops, 45, "packets dropped");
        if (scene.limits.isBeyond(Rule::NetErrors, errors)) add(Rule::NetErrors, errors, 45, "packets with errors");
    }
}

#include "base/figures.h"
#include "why/rules.h"

#include <algorithm>

static void blameNobody(const Scene&, Finding& finding) {
    finding.rest = "not accounted for: which connections these are is not known";
}

void judgeLinks(Scene& scene) {
    const auto& links = scene.interval.links;
    if (links.elapsed_us <= 0) return;
    for (auto& link : links.rows) {
        const auto add = [&](Rule rule, double value, double severity, const char* figure) {
            if (scene.has("LINK", link.name)) return;
            auto& finding = scene.add(rule, "LINK", link.name, value, severity);
            finding.why.figure = figure;
            finding.why.text = "receives " + speedText(perSecond(number(link.rx_bytes), links)) + ", sends " +
                               speedText(perSecond(number(link.tx_bytes), links));
            if (link.speed) join(finding.why.text, "speed " + bitsText(number(link.speed)));
            finding.blame = blameNobody;
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

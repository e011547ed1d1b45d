#include "wyrt/selfcost.h"

#include "base/clock.h"
#include "base/door.h"
#include "base/words.h"

#include <algorithm>

void SelfCost::begin() { begun_ns = getOwnCpu(); }

// None: the kernel does not tell.
std::optional<uint64_t> SelfCost::resident() {
    if (!statm.read(text, Reading::Single)) return {};
    const auto pages = toLong(text.view().substr(std::min(text.view().find(' '), text.size)));
    if (pages <= 0) return {};
    return static_cast<uint64_t>(pages) * static_cast<uint64_t>(getPageSize());
}

// The segments of the namespaces, and how many of them the sockets explain.
static void addSegments(const Rows<NetnsRow>& spaces, SelfRow& row) {
    for (auto& space : spaces.rows) {
        if (!space.explained || !space.segments_in) continue;
        const uint64_t segments = *space.segments_in + space.segments_out.value_or(0) + space.retransmitted.value_or(0);
        row.tcp_segments = row.tcp_segments.value_or(0) + segments;
        row.tcp_explained = row.tcp_explained.value_or(0) + std::min(*space.explained, segments);
    }
}

void SelfCost::fill(const Interval& interval, uint64_t refused, SelfRow& row) {
    const uint64_t now_ns = getOwnCpu();
    if (interval.elapsed_us > 0) row.cpu_us = (now_ns - own_ns) / 1000;
    row.sample_us = (now_ns - begun_ns) / 1000;
    own_ns = now_ns;
    row.not_allowed = refused - denied;
    denied = refused;
    addSegments(interval.namespaces, row);
    row.memory = resident();
}

#include "model/proto.h"

namespace {
// Finds counters of a sample by name. They have the same order from sample to sample, but for one that the kernel
// lists only after it has counted something: the search starts where the last one ended.
class Finder {
    const ProtocolCounters& counters;
    size_t at = 0;

public:
    explicit Finder(const ProtocolCounters& of) : counters(of) {}
    const ProtocolCounter* find(const ProtocolCounter& wanted) {
        for (size_t i = 0; i < counters.size; i++) {
            const size_t place = at + i < counters.size ? at + i : at + i - counters.size;
            const auto& counter = counters.list[place];
            if (counter.name != wanted.name || counter.protocol != wanted.protocol) continue;
            at = place + 1;
            return &counter;
        }
        return nullptr;
    }
};
} // namespace

void protocolRows(const ProtocolSample* before, const ProtocolSample& now, bool complete, Rows<ProtocolsRow>& all,
                  Rows<ProtocolRow>& rows) {
    if (!now.hasSnmp && !now.hasNetstat && !now.hasSnmp6) return;
    rows.sampled = all.sampled = true;
    if (!before) return;
    rows.elapsed_us = all.elapsed_us = now.at_us - before->at_us;
    auto& sum = all.rows.emplace_back();
    sum.counters = now.counters.size;
    // A counter that is listed for the first time has counted from 0, if its file was there before.
    const bool whole =
        before->hasSnmp >= now.hasSnmp && before->hasNetstat >= now.hasNetstat && before->hasSnmp6 >= now.hasSnmp6;
    Finder partners(before->counters);
    for (size_t i = 0; i < now.counters.size; i++) {
        const auto& counter = now.counters.list[i];
        const auto* partner = partners.find(counter);
        const int64_t was = partner ? partner->value : 0;
        if (counter.level) {
            if (!complete && partner && was == counter.value) continue;
            rows.rows.push_back({counter.protocol, counter.name, {}, counter.value});
        } else if (counter.value != was && (partner || whole)) {
            auto& row = rows.rows.emplace_back();
            row.protocol = counter.protocol, row.name = counter.name;
            if (counter.value > was && was >= 0) sum.moved++, row.amount = static_cast<uint64_t>(counter.value - was);
        }
    }
}

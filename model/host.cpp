#include "model/host.h"

#include <algorithm>

void hostRows(const HostSample* before, const HostSample& now, Rows<HostRow>& rows) {
    rows.sampled = true;
    auto& row = rows.rows.emplace_back();
    row.name = now.host.name, row.kernel = now.host.release, row.machine = now.host.machine;
    row.cpus = now.cpus, row.memory = now.memory, row.uptime_s = now.uptime_s;
    if (!before) return;
    rows.elapsed_us = now.at_us - before->at_us;
    // The two clocks are not read at one instant: a little is not sleep.
    constexpr int64_t Slack = 10000; // microseconds
    const int64_t asleep = now.boottime_us - before->boottime_us - rows.elapsed_us;
    row.asleep_us = asleep > Slack ? static_cast<uint64_t>(asleep) : 0;
}

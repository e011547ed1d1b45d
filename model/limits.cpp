#include "model/limits.h"

#include "model/amounts.h"

static constexpr struct {
    std::string_view name, unit;
} Names[LimitCount] = {
    {"conntrack",     "" },
    {"files",         "" },
    {"pids",          "" },
    {"threads",       "" },
    {"tcp_memory",    "B"},
    {"udp_memory",    "B"},
    {"tcp_orphans",   "" },
    {"tcp_time_wait", "" },
    {"neighbours4",   "" },
    {"neighbours6",   "" },
    {"backlog",       "" },
    {"squeeze",       "" },
    {"aio",           "" },
    {"keys",          "" },
};

static bool isKnown(const LimitUse& limit) { return (limit.use && limit.limit) || limit.reached; }

void limitRows(const LimitSample* before, const LimitSample& now, bool complete, Rows<LimitRow>& rows) {
    rows.sampled = true;
    if (!before) return;
    rows.elapsed_us = now.at_us - before->at_us;
    std::array<LimitRow, LimitCount> all;
    size_t nearest = LimitCount;
    for (size_t i = 0; i < LimitCount; i++) {
        auto& row = all[i];
        row.name = Names[i].name, row.unit = Names[i].unit;
        row.use = now.limits[i].use, row.limit = now.limits[i].limit;
        row.reached = grown(before->limits[i].reached, now.limits[i].reached);
        const auto use = useOf(row);
        if (use && (nearest == LimitCount || *use > *useOf(all[nearest]))) nearest = i;
    }
    for (size_t i = 0; i < LimitCount; i++) {
        auto &was = before->limits[i], &is = now.limits[i];
        const bool changed = was.use != is.use || was.limit != is.limit || was.reached != is.reached;
        const bool near = i == nearest || useOf(all[i]).value_or(0) >= NearLimit;
        if (isKnown(is) && (complete || changed || near)) rows.rows.push_back(std::move(all[i]));
    }
}

#include "model/netspaces.h"

#include "model/amounts.h"
#include "model/sock.h"

static void fill(const SpaceLink& link, SpaceLinkRow& row) {
    const auto amount = [&](uint64_t SpaceLinkCounters::* counter) {
        return grown(link.before ? std::optional((*link.before).*counter) : std::nullopt, link.now.*counter);
    };
    row.name = link.name;
    row.rx_bytes = amount(&SpaceLinkCounters::rx_bytes), row.tx_bytes = amount(&SpaceLinkCounters::tx_bytes);
    row.rx_packets = amount(&SpaceLinkCounters::rx_packets), row.tx_packets = amount(&SpaceLinkCounters::tx_packets);
    row.rx_errors = amount(&SpaceLinkCounters::rx_errors), row.tx_errors = amount(&SpaceLinkCounters::tx_errors);
    row.rx_dropped = amount(&SpaceLinkCounters::rx_dropped), row.tx_dropped = amount(&SpaceLinkCounters::tx_dropped);
}

void netSpaceRows(const NetSpaceSample& sample, const NetnsNames& names, const ProcSample& processes, bool complete,
                  Rows<SpaceLinkRow>& to) {
    to.sampled = true;
    for (const auto& space : sample.spaces) {
        if (!space.read) continue;
        std::string name(names.find(space.inode));
        if (name.empty()) name = spaceNameOf(space.pid, processes);
        for (const auto& link : space.links) {
            SpaceLinkRow row;
            fill(link, row);
            if (!complete && !isActive(row)) continue;
            row.netns = space.inode;
            row.space = name;
            if (space.before_us > 0) row.span_us = static_cast<uint64_t>(space.at_us - space.before_us);
            to.rows.push_back(std::move(row));
        }
    }
}

void nameSpaces(const NetnsNames& names, Rows<NetnsRow>& rows) {
    for (auto& row : rows.rows)
        if (const auto name = names.find(static_cast<uint32_t>(row.netns)); !row.own && !name.empty()) row.name = name;
}

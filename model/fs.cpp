#include "model/fs.h"

#include <algorithm>
#include <map>

static FsRow rowOf(const FsEntry& entry, int64_t now_us) {
    FsRow row;
    row.point = entry.point, row.source = entry.source, row.type = entry.type;
    row.device = std::to_string(entry.major) + ":" + std::to_string(entry.minor);
    row.remote = entry.remote;
    if (entry.asked_us) row.stuck_us = static_cast<uint64_t>(std::max<int64_t>(now_us - entry.asked_us, 0));
    if (entry.error) row.error = static_cast<uint64_t>(entry.error);
    if (!entry.known) return row;
    auto& space = entry.space;
    row.read_only = space.read_only;
    row.size = space.blocks * space.block;
    row.used = (space.blocks - std::min(space.free, space.blocks)) * space.block;
    row.available = space.avail * space.block;
    if (space.files > 0) row.inodes = space.files, row.inodes_free = space.files_free;
    return row;
}

static void setGrowth(const FsEntry* before, const FsEntry& now, FsRow& row) {
    if (!now.known) return;
    // An answer of an earlier sample is no partner of this one's. Whoever serves a filesystem can answer any figures,
    // so that differences must be able to wrap.
    if (before && before->known && !before->asked_us && !now.asked_us) {
        const uint64_t then =
            (before->space.blocks - std::min(before->space.free, before->space.blocks)) * before->space.block;
        row.growth = static_cast<int64_t>(*row.used - then);
    }
    if (!now.past_us || now.answered_us <= now.past_us) return;
    const double seconds = static_cast<double>(now.answered_us - now.past_us) / 1e6;
    row.growth_rate = (static_cast<double>(*row.used) - static_cast<double>(now.past_used)) / seconds;
    if (*row.growth_rate > 0) {
        const double left = static_cast<double>(*row.available) / *row.growth_rate;
        if (left < 1e9) row.full_in_s = static_cast<uint64_t>(left);
    }
}

void fsRows(const FsSample* before, const FsSample& now, bool complete, Rows<FsRow>& filesystems,
            Rows<FsTotalRow>& all) {
    if (!before || !before->known || !now.known) return;
    filesystems.sampled = all.sampled = true;
    filesystems.elapsed_us = all.elapsed_us = now.at_us - before->at_us;
    std::map<uint64_t, const FsEntry*> partners;
    for (auto& entry : before->entries) partners[entry.mount] = &entry;
    auto& total = all.rows.emplace_back();
    for (auto& entry : now.entries) {
        if (entry.known && entry.space.blocks == 0) continue; // it has no space of its own
        auto row = rowOf(entry, now.at_us);
        const auto found = partners.find(entry.mount);
        const bool same = found != partners.end() && found->second->source == entry.source &&
                          found->second->major == entry.major && found->second->minor == entry.minor;
        setGrowth(same ? found->second : nullptr, entry, row);
        const bool quiet = isQuiet(row);
        if (entry.known || row.stuck_us) { // one that refuses to answer is neither full nor not
            total.filesystems++;
            total.quiet += quiet ? 1 : 0;
        }
        if (!quiet || complete) filesystems.rows.push_back(std::move(row));
    }
}

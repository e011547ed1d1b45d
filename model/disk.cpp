#include "model/disk.h"

#include "model/amounts.h"

#include <algorithm>
#include <string_view>
#include <tuple>

// --- One disk

static constexpr uint64_t Sector = 512, Millisecond = 1000; // bytes, microseconds

static constexpr struct {
    uint64_t DiskCounters::* from;
    std::optional<uint64_t> DiskActivity::* to;
    uint64_t unit;
    unsigned columns; // the line must have so many
    bool wraps;       // 32 bits
} Counters[] = {
    {&DiskCounters::reads,           &DiskActivity::reads,         1,           11, false},
    {&DiskCounters::read_sectors,    &DiskActivity::read_bytes,    Sector,      11, false},
    {&DiskCounters::reads_merged,    &DiskActivity::reads_merged,  1,           11, false},
    {&DiskCounters::writes,          &DiskActivity::writes,        1,           11, false},
    {&DiskCounters::write_sectors,   &DiskActivity::write_bytes,   Sector,      11, false},
    {&DiskCounters::writes_merged,   &DiskActivity::writes_merged, 1,           11, false},
    {&DiskCounters::discards,        &DiskActivity::discards,      1,           15, false},
    {&DiskCounters::discard_sectors, &DiskActivity::discard_bytes, Sector,      15, false},
    {&DiskCounters::flushes,         &DiskActivity::flushes,       1,           17, false},
    {&DiskCounters::read_ms,         &DiskActivity::read_us,       Millisecond, 11, true },
    {&DiskCounters::write_ms,        &DiskActivity::write_us,      Millisecond, 11, true },
    {&DiskCounters::busy_ms,         &DiskActivity::busy_us,       Millisecond, 11, true },
    {&DiskCounters::queue_ms,        &DiskActivity::queue_us,      Millisecond, 11, true },
    {&DiskCounters::discard_ms,      &DiskActivity::discard_us,    Millisecond, 15, true },
    {&DiskCounters::flush_ms,        &DiskActivity::flush_us,      Millisecond, 17, true },
};

// A fall of milliseconds is their wrap only where no other counter of the device fell: otherwise it is another device,
// or one that was reset.
static void setActivity(const DiskCounters& before, const DiskCounters& now, DiskActivity& activity) {
    const unsigned columns = std::min(before.columns, now.columns);
    bool fell = false;
    for (auto& counter : Counters)
        fell |= !counter.wraps && counter.columns <= columns && now.*counter.from < before.*counter.from;
    if (fell) return;
    for (auto& counter : Counters) {
        if (counter.columns > columns) continue;
        const uint64_t then = before.*counter.from, value = now.*counter.from;
        // Where the kernel counts in more than 32 bits, a fall is no wrap of 32.
        if (value < then && (then >> 32 || !counter.wraps)) continue;
        activity.*counter.to = (value < then ? grown32(then, value) : value - then) * counter.unit;
    }
}

static bool didAnything(const DiskActivity& activity) {
    for (auto& counter : Counters)
        if ((activity.*counter.to).value_or(0) > 0) return true;
    return false;
}

static std::string_view nameOf(DiskKind kind) {
    switch (kind) {
    case DiskKind::Disk:
        return "disk";
    case DiskKind::Partition:
        return "partition";
    case DiskKind::Mapped:
        return "dm";
    case DiskKind::Raid:
        return "md";
    case DiskKind::Cache:
        return "bcache";
    case DiskKind::Loop:
        return "loop";
    case DiskKind::Ram:
        return "ram";
    case DiskKind::Zram:
        return "zram";
    case DiskKind::Path:
        return "path";
    }
    return {};
}

// --- Pairs

// The disks of the sample before, found again by what they are.
class Partners {
    const DiskSample& before;
    std::vector<size_t> order; // by device number; only made when the disks do not stand where they stood

    static auto keyOf(const DiskSample& sample, size_t i) {
        return std::make_tuple(sample.disks[i].major, sample.disks[i].minor, sample.facts[i].sequence);
    }

public:
    explicit Partners(const DiskSample& sample) : before(sample) {}
    const DiskCounters* find(const DiskSample& now, size_t i) {
        const auto key = keyOf(now, i);
        if (i < before.disks.size() && keyOf(before, i) == key) return same(now, i, i);
        if (order.empty()) {
            for (size_t k = 0; k < before.disks.size(); k++) order.push_back(k);
            std::sort(order.begin(), order.end(),
                      [&](size_t a, size_t b) { return keyOf(before, a) < keyOf(before, b); });
        }
        const auto found = std::lower_bound(order.begin(), order.end(), key,
                                            [&](size_t k, const auto& wanted) { return keyOf(before, k) < wanted; });
        return found != order.end() && keyOf(before, *found) == key ? same(now, i, *found) : nullptr;
    }

private:
    // Without sequence numbers a device with another name is another device.
    const DiskCounters* same(const DiskSample& now, size_t i, size_t k) const {
        return now.facts[i].sequence || now.disks[i].name == before.disks[k].name ? &before.disks[k] : nullptr;
    }
};

static void addTo(const DiskActivity& activity, DisksRow& all) {
    for (auto& counter : Counters)
        if (activity.*counter.to) all.*counter.to = (all.*counter.to).value_or(0) + *(activity.*counter.to);
}

void diskRows(const DiskSample* before, const DiskSample& now, bool complete, Rows<DiskRow>& disks,
              Rows<DisksRow>& all) {
    if (!now.known || !before || !before->known) return;
    disks.sampled = all.sampled = true;
    disks.elapsed_us = all.elapsed_us = now.at_us - before->at_us;
    auto& total = all.rows.emplace_back();
    Partners partners(*before);
    static const DiskCounters Nothing;
    for (size_t i = 0; i < now.disks.size(); i++) {
        auto& disk = now.disks[i];
        auto& facts = now.facts[i];
        DiskRow row;
        // A disk that was not there before began at 0.
        auto* partner = partners.find(now, i);
        DiskCounters born = Nothing;
        born.columns = disk.columns;
        setActivity(partner ? *partner : born, disk, row);
        row.in_flight = disk.in_flight;
        const bool active = didAnything(row) || row.in_flight > 0;
        if (!facts.stacked && !isPseudo(facts.kind) && facts.kind != DiskKind::Partition &&
            facts.kind != DiskKind::Path) {
            total.disks++, total.idle += active ? 0 : 1;
            total.in_flight += row.in_flight;
            addTo(row, total);
        }
        if (!active && (!complete || isPseudo(facts.kind))) continue;
        row.name = disk.name;
        row.device = std::to_string(disk.major) + ":" + std::to_string(disk.minor);
        row.sequence = facts.sequence, row.stacked = facts.stacked;
        row.kind = nameOf(facts.kind);
        disks.rows.push_back(std::move(row));
    }
}

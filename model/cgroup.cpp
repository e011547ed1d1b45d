#include "model/cgroup.h"

#include "model/amounts.h"

#include <algorithm>
#include <string_view>

static constexpr struct {
    GroupNumber GroupCounters::* from;
    std::optional<uint64_t> CgroupRow::* to;
} Counters[] = {
    {&GroupCounters::cpu_us,            &CgroupRow::cpu_us           },
    {&GroupCounters::user_us,           &CgroupRow::user_us          },
    {&GroupCounters::system_us,         &CgroupRow::system_us        },
    {&GroupCounters::periods,           &CgroupRow::periods          },
    {&GroupCounters::throttled_periods, &CgroupRow::throttled_periods},
    {&GroupCounters::throttled_us,      &CgroupRow::throttled_us     },
    {&GroupCounters::cpu_some_us,       &CgroupRow::cpu_some_us      },
    {&GroupCounters::cpu_full_us,       &CgroupRow::cpu_full_us      },
    {&GroupCounters::memory_some_us,    &CgroupRow::memory_some_us   },
    {&GroupCounters::memory_full_us,    &CgroupRow::memory_full_us   },
    {&GroupCounters::io_some_us,        &CgroupRow::io_some_us       },
    {&GroupCounters::io_full_us,        &CgroupRow::io_full_us       },
    {&GroupCounters::memory_high,       &CgroupRow::memory_high      },
    {&GroupCounters::memory_max,        &CgroupRow::memory_max       },
    {&GroupCounters::oom_kills,         &CgroupRow::oom_kills        },
};

static constexpr struct {
    uint64_t GroupIo::* from;
    std::optional<uint64_t> CgroupIoRow::* to;
    std::optional<uint64_t> CgroupRow::* sum; // null: not in the group's row
} IoCounters[] = {
    {&GroupIo::read_bytes,    &CgroupIoRow::read_bytes,    &CgroupRow::read_bytes },
    {&GroupIo::write_bytes,   &CgroupIoRow::write_bytes,   &CgroupRow::write_bytes},
    {&GroupIo::reads,         &CgroupIoRow::reads,         &CgroupRow::reads      },
    {&GroupIo::writes,        &CgroupIoRow::writes,        &CgroupRow::writes     },
    {&GroupIo::discard_bytes, &CgroupIoRow::discard_bytes, nullptr                },
    {&GroupIo::discards,      &CgroupIoRow::discards,      nullptr                },
};

// --- One group

// Returns whether any counter grew.
static bool setAmounts(const Group& group, CgroupRow& row) {
    bool moved = false;
    for (auto& [from, to] : Counters) {
        const std::optional<uint64_t> now = group.now.*from;
        if (!group.read) row.*to = now ? std::optional<uint64_t>(0) : std::nullopt;
        else if (group.readings > 1) row.*to = grown(group.before.*from, now);
        else if (group.born) row.*to = now;
        moved |= (row.*to).value_or(0) > 0;
    }
    return moved;
}

static DeviceNumber place(const GroupIo& device) { return {device.major, device.minor}; }

// Whether the group's transfers on a disk are part of those on another one, too. Most devices hand their transfers on
// in the name of the group; RAID 5 writes in the kernel's, and the disks below it have nothing of the group's.
static bool isCountedElsewhere(const Group& group, const GroupDisk& disk, uint64_t GroupIo::* counter) {
    if (disk.pseudo) return true;
    return std::any_of(disk.below.begin(), disk.below.end(), [&](auto& below) {
        const auto& all = group.ioNow;
        const auto found = std::lower_bound(all.begin(), all.end(), below,
                                            [](auto& device, auto& number) { return place(device) < number; });
        return found != all.end() && place(*found) == below && (*found).*counter > 0;
    });
}

// The devices of a group that it used in the interval; their sums become the group's. A device without a partner in the
// last reading was not used before.
static bool setIo(const CgroupSample& sample, const Group& group, const std::string& path, CgroupRow& row,
                  Rows<CgroupIoRow>& devices) {
    const bool comparable = group.readings > 1 || group.born;
    bool moved = false, reset = false;
    if (!group.hasIo || (group.read && !comparable)) return false;
    for (auto& counter : IoCounters)
        if (counter.sum) row.*counter.sum = 0;
    if (!group.read) return false;
    auto before = group.readings > 1 ? group.ioBefore.begin() : group.ioBefore.end();
    for (auto& device : group.ioNow) {
        while (before != group.ioBefore.end() && place(*before) < place(device)) ++before;
        const bool paired = before != group.ioBefore.end() && place(*before) == place(device);
        const GroupIo base = paired ? *before : GroupIo();
        CgroupIoRow made;
        bool used = false;
        for (auto& counter : IoCounters) {
            const auto amount = grown(base.*counter.from, device.*counter.from);
            made.*counter.to = amount;
            used |= amount.value_or(1) > 0;
        }
        if (!used) continue;
        moved = true;
        const auto found = sample.disks.find({device.major, device.minor});
        const auto* disk = found == sample.disks.end() ? nullptr : &found->second;
        for (auto& counter : IoCounters) {
            if (!counter.sum || (disk && isCountedElsewhere(group, *disk, counter.from))) continue;
            const auto amount = made.*counter.to;
            reset |= !amount;
            if (amount) row.*counter.sum = *(row.*counter.sum) + *amount;
        }
        made.path = path;
        made.device = std::to_string(device.major) + ":" + std::to_string(device.minor);
        if (disk) made.disk = disk->name;
        devices.rows.push_back(std::move(made));
    }
    for (auto& counter : IoCounters)
        if (counter.sum && reset) (row.*counter.sum).reset();
    return moved;
}

static void setLevels(const GroupLevels& levels, CgroupRow& row) {
    row.memory = levels.memory, row.memory_limit = levels.memory_max, row.memory_high_limit = levels.memory_high;
    row.swap = levels.swap, row.swap_limit = levels.swap_max;
    row.pids = levels.pids, row.pids_limit = levels.pids_max;
    const std::optional<uint64_t> quota = levels.quota_us, period = levels.period_us;
    if (quota && period.value_or(0) > 0) row.quota = static_cast<double>(*quota) / static_cast<double>(*period);
}

// --- All of them

void cgroupRows(const CgroupSample& sample, bool complete, Rows<CgroupsRow>& all, Rows<CgroupRow>& groups,
                Rows<CgroupIoRow>& devices) {
    if (!sample.known || !sample.paired) return;
    all.sampled = groups.sampled = devices.sampled = true;
    all.elapsed_us = groups.elapsed_us = devices.elapsed_us = sample.at_us - sample.before_us;
    auto& total = all.rows.emplace_back();
    total.version = sample.second ? 2 : 1;
    total.groups = sample.count;
    for (uint32_t at = 0; at != Group::None; at = sample.after(at)) {
        auto& group = sample.groups[at];
        if (group.gone) continue;
        CgroupRow row;
        bool moved = setAmounts(group, row);
        if (group.read || complete || group.levelsChanged) row.path = sample.pathOf(at);
        moved |= setIo(sample, group, row.path, row, devices);
        if (at && !moved) total.idle++;
        if (!moved && !complete && !group.levelsChanged && !(group.born && group.read && group.readings == 1)) continue;
        row.name = group.title, row.kind = nameOf(group.kind), row.named = group.named;
        setLevels(group.levels, row);
        groups.rows.push_back(std::move(row));
    }
}

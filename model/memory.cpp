#include "model/memory.h"

#include "model/amounts.h"

#include <algorithm>
#include <initializer_list>

using Figure = std::optional<uint64_t>;

static Figure times(const Figure& value, uint64_t unit) { return value ? Figure(*value * unit) : Figure(); }

static Figure sum(std::initializer_list<Figure> parts) {
    Figure all;
    for (auto& part : parts)
        if (part) all = all.value_or(0) + *part;
    return all;
}

// Page cache and buffers; shared memory is cached, too, but cannot be dropped.
static Figure withoutShared(uint64_t all, const Figure& shared) { return all - std::min(shared.value_or(0), all); }

static Figure fileMemory(const Meminfo& info) {
    return info.cached ? withoutShared(*info.cached + info.buffers.value_or(0), info.shared) : Figure();
}

static void setLevels(const MemorySample& now, MemoryRow& row) {
    constexpr uint64_t KiB = 1024;
    static constexpr struct {
        Figure Meminfo::* from;
        Figure MemoryRow::* to;
    } Levels[] = {
        {&Meminfo::total,        &MemoryRow::total       },
        {&Meminfo::free,         &MemoryRow::free        },
        {&Meminfo::available,    &MemoryRow::available   },
        {&Meminfo::anonymous,    &MemoryRow::anonymous   },
        {&Meminfo::shared,       &MemoryRow::shared      },
        {&Meminfo::slab,         &MemoryRow::slab        },
        {&Meminfo::reclaimable,  &MemoryRow::reclaimable },
        {&Meminfo::kernel_stack, &MemoryRow::kernel_stack},
        {&Meminfo::page_tables,  &MemoryRow::page_tables },
        {&Meminfo::dirty,        &MemoryRow::dirty       },
        {&Meminfo::writeback,    &MemoryRow::writeback   },
        {&Meminfo::swap_total,   &MemoryRow::swap_total  },
        {&Meminfo::swap_free,    &MemoryRow::swap_free   },
        {&Meminfo::committed,    &MemoryRow::committed   },
        {&Meminfo::commit_limit, &MemoryRow::commit_limit},
    };
    for (auto& known : Levels) row.*known.to = times(now.info.*known.from, KiB);
    row.file = times(fileMemory(now.info), KiB);
    const uint64_t huge = now.info.huge_size.value_or(0) * KiB;
    row.huge_total = times(now.info.huge_total, huge), row.huge_free = times(now.info.huge_free, huge);
    row.dirty_limit = times(now.vm.dirty_limit, now.page_size);
    row.dirty_background = times(now.vm.dirty_background, now.page_size);
}

static void setAmounts(const MemorySample& before, const MemorySample& now, MemoryRow& row) {
    const auto amount = [&](Figure Vmstat::* counter) { return grown(before.vm.*counter, now.vm.*counter); };
    row.swap_in = times(amount(&Vmstat::swap_in), now.page_size);
    row.swap_out = times(amount(&Vmstat::swap_out), now.page_size);
    row.page_in = times(amount(&Vmstat::page_in_kib), 1024);
    row.page_out = times(amount(&Vmstat::page_out_kib), 1024);
    row.faults = amount(&Vmstat::faults), row.major_faults = amount(&Vmstat::major_faults);
    row.direct_scanned = amount(&Vmstat::scan_direct);
    row.scanned = sum({amount(&Vmstat::scan_kswapd), row.direct_scanned, amount(&Vmstat::scan_khugepaged)});
    row.reclaimed =
        sum({amount(&Vmstat::steal_kswapd), amount(&Vmstat::steal_direct), amount(&Vmstat::steal_khugepaged)});
    row.refaults = sum({amount(&Vmstat::refault), amount(&Vmstat::refault_anon), amount(&Vmstat::refault_file)});
    row.compact_stalls = amount(&Vmstat::compact_stalls);
    row.oom_kills = amount(&Vmstat::oom_kills);
}

void memoryRows(const MemorySample* before, const MemorySample& now, Rows<MemoryRow>& rows) {
    if (!now.known) return;
    rows.sampled = true;
    auto& row = rows.rows.emplace_back();
    setLevels(now, row);
    if (!before || !before->known) return;
    rows.elapsed_us = now.at_us - before->at_us;
    setAmounts(*before, now, row);
}

void nodeRows(const MemorySample& now, Rows<NodeRow>& rows) {
    constexpr uint64_t KiB = 1024;
    rows.sampled = now.known;
    for (auto& node : now.nodes) {
        auto& row = rows.rows.emplace_back();
        row.node = node.node;
        row.total = times(node.total, KiB), row.free = times(node.free, KiB);
        row.anonymous = times(node.anonymous, KiB);
        row.file = times(node.file ? withoutShared(*node.file, node.shared) : Figure(), KiB);
    }
}

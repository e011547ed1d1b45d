// Memory, swap and reclaim (MEM), and the memory of each NUMA node where there are several (NODE).
#pragma once

#include "record/kind.h"

#include <cstdint>
#include <optional>

struct MemoryRow {
    // Bytes at the end of the interval.
    std::optional<uint64_t> total, free, available, anonymous;
    std::optional<uint64_t> file; // page cache and buffers, without shared memory
    std::optional<uint64_t> shared, slab, reclaimable, kernel_stack, page_tables;
    std::optional<uint64_t> dirty, dirty_limit, dirty_background, writeback; // writers are slowed from the limit on
    std::optional<uint64_t> swap_total, swap_free, committed, commit_limit, huge_total, huge_free;
    // In the interval.
    std::optional<uint64_t> swap_in, swap_out, page_in, page_out; // bytes
    std::optional<uint64_t> faults, major_faults, scanned, reclaimed, direct_scanned, refaults, compact_stalls,
        oom_kills;
};
inline constexpr auto MemoryKind = kind<MemoryRow>(
    "MEM", level("total", "B", &MemoryRow::total), level("free", "B", &MemoryRow::free),
    level("available", "B", &MemoryRow::available), level("anonymous", "B", &MemoryRow::anonymous),
    level("file", "B", &MemoryRow::file), level("shared", "B", &MemoryRow::shared),
    level("slab", "B", &MemoryRow::slab), level("reclaimable", "B", &MemoryRow::reclaimable),
    level("kernel_stack", "B", &MemoryRow::kernel_stack), level("page_tables", "B", &MemoryRow::page_tables),
    level("dirty", "B", &MemoryRow::dirty), level("dirty_limit", "B", &MemoryRow::dirty_limit),
    level("dirty_background", "B", &MemoryRow::dirty_background), level("writeback", "B", &MemoryRow::writeback),
    level("swap_total", "B", &MemoryRow::swap_total), level("swap_free", "B", &MemoryRow::swap_free),
    level("committed", "B", &MemoryRow::committed), level("commit_limit", "B", &MemoryRow::commit_limit),
    level("huge_total", "B", &MemoryRow::huge_total), level("huge_free", "B", &MemoryRow::huge_free),
    amount("swap_in", "B", &MemoryRow::swap_in), amount("swap_out", "B", &MemoryRow::swap_out),
    amount("page_in", "B", &MemoryRow::page_in), amount("page_out", "B", &MemoryRow::page_out),
    amount("faults", "", &MemoryRow::faults), amount("major_faults", "", &MemoryRow::major_faults),
    amount("scanned", "pages", &MemoryRow::scanned), amount("reclaimed", "pages", &MemoryRow::reclaimed),
    amount("direct_scanned", "pages", &MemoryRow::direct_scanned), amount("refaults", "pages", &MemoryRow::refaults),
    amount("compact_stalls", "", &MemoryRow::compact_stalls), amount("oom_kills", "", &MemoryRow::oom_kills));

// One NUMA node at the end of the interval, bytes.
struct NodeRow {
    uint64_t node = 0;                                    // the kernel's number
    std::optional<uint64_t> total, free, anonymous, file; // file: page cache and buffers, without shared memory
};
inline constexpr auto NodeKind = kind<NodeRow>(
    "NODE", id("node", &NodeRow::node), level("total", "B", &NodeRow::total), level("free", "B", &NodeRow::free),
    level("anonymous", "B", &NodeRow::anonymous), level("file", "B", &NodeRow::file));

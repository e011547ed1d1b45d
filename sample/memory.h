// Memory, swap and reclaim of the machine.
#pragma once

#include "base/held.h"
#include "base/root.h"
#include "parse/keyed.h"
#include "parse/nodeinfo.h"

#include <cstdint>
#include <optional>
#include <vector>

// /proc/meminfo: KiB now.
struct Meminfo {
    std::optional<uint64_t> total, free, available, buffers, cached, swap_cached, anonymous, shared, slab, reclaimable;
    std::optional<uint64_t> kernel_stack, page_tables, dirty, writeback, swap_total, swap_free, committed, commit_limit;
    std::optional<uint64_t> huge_total, huge_free, huge_size; // pages, pages, KiB
};

// /proc/vmstat: since boot; pages now, where nothing else is said.
struct Vmstat {
    std::optional<uint64_t> dirty_limit, dirty_background; // pages
    std::optional<uint64_t> page_in_kib, page_out_kib;     // KiB since boot
    std::optional<uint64_t> swap_in, swap_out;             // pages
    std::optional<uint64_t> faults, major_faults, oom_kills;
    std::optional<uint64_t> scan_kswapd, scan_direct, scan_khugepaged; // pages
    std::optional<uint64_t> steal_kswapd, steal_direct, steal_khugepaged;
    std::optional<uint64_t> refault, refault_anon, refault_file; // before 5.9 one, since then two
    std::optional<uint64_t> compact_stalls;
};

struct NodeMemory : NodeInfo {
    uint64_t node = 0; // the kernel's number
};

struct MemorySample {
    int64_t at_us = 0; // monotonic
    bool known = false;
    Meminfo info;
    Vmstat vm;
    uint64_t page_size = 4096;     // bytes
    std::vector<NodeMemory> nodes; // empty: there is only one
};

class MemorySampler {
    HeldFile meminfo, vmstat, withMemory; // the nodes that have memory
    struct Node {
        uint64_t number;
        HeldFile info;
    };
    Root root;
    std::vector<Node> nodes;
    uint64_t samples = 0;
    KeyPlan meminfoPlan, vmstatPlan;
    Contents text;
    uint64_t page_size;

    void findNodes();

public:
    explicit MemorySampler(const Root& root);
    void sample(MemorySample& now);
    uint64_t notAllowed() const { return text.denied; }
};

#include "sample/memory.h"

#include "base/clock.h"
#include "parse/numberlist.h"

#include <algorithm>

static constexpr Keyed<Meminfo> MeminfoKeys[] = {
    {"MemTotal:",        &Meminfo::total       },
    {"MemFree:",         &Meminfo::free        },
    {"MemAvailable:",    &Meminfo::available   },
    {"Buffers:",         &Meminfo::buffers     },
    {"Cached:",          &Meminfo::cached      },
    {"SwapCached:",      &Meminfo::swap_cached },
    {"AnonPages:",       &Meminfo::anonymous   },
    {"Shmem:",           &Meminfo::shared      },
    {"Slab:",            &Meminfo::slab        },
    {"SReclaimable:",    &Meminfo::reclaimable },
    {"KernelStack:",     &Meminfo::kernel_stack},
    {"PageTables:",      &Meminfo::page_tables },
    {"Dirty:",           &Meminfo::dirty       },
    {"Writeback:",       &Meminfo::writeback   },
    {"SwapTotal:",       &Meminfo::swap_total  },
    {"SwapFree:",        &Meminfo::swap_free   },
    {"Committed_AS:",    &Meminfo::committed   },
    {"CommitLimit:",     &Meminfo::commit_limit},
    {"HugePages_Total:", &Meminfo::huge_total  },
    {"HugePages_Free:",  &Meminfo::huge_free   },
    {"Hugepagesize:",    &Meminfo::huge_size   },
};

static constexpr Keyed<Vmstat> VmstatKeys[] = {
    {"nr_dirty_threshold",            &Vmstat::dirty_limit     },
    {"nr_dirty_background_threshold", &Vmstat::dirty_background},
    {"pgpgin",                        &Vmstat::page_in_kib     },
    {"pgpgout",                       &Vmstat::page_out_kib    },
    {"pswpin",                        &Vmstat::swap_in         },
    {"pswpout",                       &Vmstat::swap_out        },
    {"pgfault",                       &Vmstat::faults          },
    {"pgmajfault",                    &Vmstat::major_faults    },
    {"oom_kill",                      &Vmstat::oom_kills       },
    {"pgscan_kswapd",                 &Vmstat::scan_kswapd     },
    {"pgscan_direct",                 &Vmstat::scan_direct     },
    {"pgscan_khugepaged",             &Vmstat::scan_khugepaged },
    {"pgsteal_kswapd",                &Vmstat::steal_kswapd    },
    {"pgsteal_direct",                &Vmstat::steal_direct    },
    {"pgsteal_khugepaged",            &Vmstat::steal_khugepaged},
    {"workingset_refault",            &Vmstat::refault         },
    {"workingset_refault_anon",       &Vmstat::refault_anon    },
    {"workingset_refault_file",       &Vmstat::refault_file    },
    {"compact_stall",                 &Vmstat::compact_stalls  },
};

MemorySampler::MemorySampler(const Root& where)
    : meminfo(where, "/proc/meminfo"), vmstat(where, "/proc/vmstat"),
      withMemory(where, "/sys/devices/system/node/has_memory"), root(where) {
    page_size = static_cast<uint64_t>(std::max(getPageSize(), 1));
}

// With one node its figures are those of the machine.
void MemorySampler::findNodes() {
    const auto numbers = withMemory.read(text, Reading::Single) ? numbersOfList(text.view()) : std::vector<uint64_t>();
    if (numbers.size() < 2) return nodes.clear();
    const bool same = std::equal(numbers.begin(), numbers.end(), nodes.begin(), nodes.end(),
                                 [](uint64_t number, const Node& node) { return number == node.number; });
    if (same) return;
    nodes.clear();
    for (const auto number : numbers) {
        const auto path = "/sys/devices/system/node/node" + std::to_string(number) + "/meminfo";
        nodes.push_back({number, HeldFile(root, path)});
    }
}

void MemorySampler::sample(MemorySample& now) {
    now.at_us = getMonotonic();
    now.page_size = page_size;
    now.known = meminfo.read(text);
    parseKeyed<Meminfo>(now.known ? text.view() : std::string_view{}, MeminfoKeys, meminfoPlan, now.info);
    const bool counted = vmstat.read(text);
    parseKeyed<Vmstat>(counted ? text.view() : std::string_view{}, VmstatKeys, vmstatPlan, now.vm);
    constexpr uint64_t LookEvery = 64; // samples: memory is seldom added to a running machine
    if (samples++ % LookEvery == 0) findNodes();
    now.nodes.clear();
    for (auto& node : nodes) {
        if (!node.info.read(text)) continue;
        auto& read = now.nodes.emplace_back();
        static_cast<NodeInfo&>(read) = parseNodeInfo(text.view());
        read.node = node.number;
    }
}

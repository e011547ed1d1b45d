#include "sample/memory.h"

#include "base/clock.h"

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

MemorySampler::MemorySampler(const Root& root) : meminfo(root, "/proc/meminfo"), vmstat(root, "/proc/vmstat") {
    page_size = static_cast<uint64_t>(std::max(getPageSize(), 1));
}

void MemorySampler::sample(MemorySample& now) {
    now.at_us = getMonotonic();
    now.page_size = page_size;
    now.known = meminfo.read(text);
    parseKeyed<Meminfo>(now.known ? text.view() : std::string_view{}, MeminfoKeys, meminfoPlan, now.info);
    const bool counted = vmstat.read(text);
    parseKeyed<Vmstat>(counted ? text.view() : std::string_view{}, VmstatKeys, vmstatPlan, now.vm);
}

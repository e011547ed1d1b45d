#include "model/cpu.h"

#include "model/amounts.h"

#include <algorithm>

// Columns that the kernel does not have are left out. Idle and iowait fall a little when a core wakes up.
static void setTimes(const CpuTicks& before, const CpuTicks& now, uint64_t tick_us, CpuTimes& times) {
    static constexpr struct {
        uint64_t CpuTicks::* from;
        std::optional<uint64_t> CpuTimes::* to;
        bool falls;
    } Columns[] = {
        {&CpuTicks::user,       &CpuTimes::user_us,       false},
        {&CpuTicks::nice,       &CpuTimes::nice_us,       false},
        {&CpuTicks::system,     &CpuTimes::system_us,     false},
        {&CpuTicks::idle,       &CpuTimes::idle_us,       true },
        {&CpuTicks::iowait,     &CpuTimes::iowait_us,     true },
        {&CpuTicks::irq,        &CpuTimes::irq_us,        false},
        {&CpuTicks::softirq,    &CpuTimes::softirq_us,    false},
        {&CpuTicks::steal,      &CpuTimes::steal_us,      false},
        {&CpuTicks::guest,      &CpuTimes::guest_us,      false},
        {&CpuTicks::guest_nice, &CpuTimes::guest_nice_us, false},
    };
    unsigned column = 0;
    for (auto& known : Columns) {
        if (column >= now.columns || column >= before.columns) break;
        column++;
        const auto ticks = (known.falls ? grownOrStill : grown)(before.*known.from, now.*known.from);
        if (ticks) times.*known.to = *ticks * tick_us;
    }
}

static uint64_t mhzOf(uint64_t khz) { return (khz + 500) / 1000; }

static std::optional<uint64_t> meanMhz(const std::vector<CoreFrequency>& frequencies) {
    if (frequencies.empty()) return {};
    uint64_t sum = 0;
    for (auto& core : frequencies) sum += core.khz;
    return mhzOf(sum / frequencies.size());
}

void cpuRows(const CpuSample* before, const CpuSample& now, Rows<CpuRow>& rows) {
    if (!now.known) return;
    rows.sampled = true;
    auto& row = rows.rows.emplace_back();
    if (before && before->known) {
        rows.elapsed_us = now.at_us - before->at_us;
        setTimes(before->stat.all, now.stat.all, now.tick_us, row);
        row.switches = grown(before->stat.switches, now.stat.switches);
        row.interrupts = grown(before->stat.interrupts, now.stat.interrupts);
        row.softirqs = grown(before->stat.softirqs, now.stat.softirqs);
        row.forks = grown(before->stat.forks, now.stat.forks);
    }
    row.cpus = now.stat.cores.size();
    row.mhz = meanMhz(now.frequencies);
    row.running = now.stat.running, row.blocked = now.stat.blocked;
    if (!now.load) return;
    row.load1 = now.load->one, row.load5 = now.load->five, row.load15 = now.load->fifteen;
    row.tasks = now.load->tasks;
}

void coreRows(const CpuSample* before, const CpuSample& now, Rows<CoreRow>& rows) {
    if (!now.known) return;
    rows.sampled = true;
    if (before && before->known) rows.elapsed_us = now.at_us - before->at_us;
    // The kernel lists cores in ascending order.
    size_t partner = 0, frequency = 0;
    for (auto& core : now.stat.cores) {
        auto& row = rows.rows.emplace_back();
        row.core = core.core;
        while (frequency < now.frequencies.size() && now.frequencies[frequency].core < core.core) frequency++;
        if (frequency < now.frequencies.size() && now.frequencies[frequency].core == core.core)
            row.mhz = mhzOf(now.frequencies[frequency].khz);
        if (!before || !before->known) continue;
        auto& cores = before->stat.cores;
        while (partner < cores.size() && cores[partner].core < core.core) partner++;
        if (partner < cores.size() && cores[partner].core == core.core)
            setTimes(cores[partner], core, now.tick_us, row);
    }
}

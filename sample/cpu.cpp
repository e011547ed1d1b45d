#include "sample/cpu.h"

#include "base/clock.h"
#include "base/numbers.h"

#include <algorithm>
#include <string>

CpuSampler::CpuSampler(const Root& where, size_t frequencies)
    : stat(where, "/proc/stat"), load(where, "/proc/loadavg"), root(where), most(frequencies) {
    const int ticks = getClockTicks();
    tick_us = ticks > 0 ? 1000000U / static_cast<unsigned>(ticks) : 10000;
}

void CpuSampler::choose(const CpuSample& now) {
    const auto& all = now.stat.cores;
    const size_t count = std::min(most, all.size());
    cores = all.size();
    chosen.clear();
    for (size_t i = 0; i < count; i++) {
        const auto core = all[i * all.size() / count].core;
        const auto path = "/sys/devices/system/cpu/cpu" + std::to_string(core) + "/cpufreq/scaling_cur_freq";
        chosen.push_back({core, HeldFile(root, path)});
        // Without the file of the first there is none at all: it is not looked for again.
        if (i == 0 && !chosen[0].frequency.read(text, Reading::Single)) return chosen.clear();
    }
}

void CpuSampler::readFrequencies(CpuSample& now) {
    now.frequencies.clear();
    if (!now.known) return;
    if (cores != now.stat.cores.size()) choose(now);
    for (size_t i = 0; i < chosen.size(); i++) {
        auto& file = chosen[i].frequency;
        uint64_t khz = 0;
        if (!file.read(text, Reading::Single)) continue;
        auto line = text.view();
        if (takeNumber(line, khz)) now.frequencies.push_back({chosen[i].core, khz});
        if (i >= MostHeld) file.close();
    }
}

void CpuSampler::sample(CpuSample& now) {
    now.at_us = getMonotonic();
    now.tick_us = tick_us;
    now.known = stat.read(text) && parseStat(text.view(), now.stat);
    now.load.reset();
    if (load.read(text)) now.load = parseLoadAverage(text.view());
    readFrequencies(now);
}

#include "sample/cpu.h"

#include "base/clock.h"

CpuSampler::CpuSampler(const Root& root) : stat(root, "/proc/stat"), load(root, "/proc/loadavg") {
    const int ticks = getClockTicks();
    tick_us = ticks > 0 ? 1000000U / static_cast<unsigned>(ticks) : 10000;
}

void CpuSampler::sample(CpuSample& now) {
    now.at_us = getMonotonic();
    now.tick_us = tick_us;
    now.known = stat.read(text) && parseStat(text.view(), now.stat);
    now.load.reset();
    if (load.read(text)) now.load = parseLoadAverage(text.view());
}

#include "parse/stat.h"

#include "base/numbers.h"

static void takeTicks(std::string_view line, CpuTicks& ticks) {
    for (auto member :
         {&CpuTicks::user, &CpuTicks::nice, &CpuTicks::system, &CpuTicks::idle, &CpuTicks::iowait, &CpuTicks::irq,
          &CpuTicks::softirq, &CpuTicks::steal, &CpuTicks::guest, &CpuTicks::guest_nice}) {
        if (!takeNumber(line, ticks.*member)) return;
        ticks.columns++;
    }
}

// "intr 8734 0 9 ...": the first number is the sum, hundreds of others may follow.
static void takeFigure(std::string_view line, SystemStat& stat) {
    const auto key = takeWord(line);
    const auto set = [&](std::optional<uint64_t>& figure) {
        uint64_t value = 0;
        if (takeNumber(line, value)) figure = value;
    };
    if (key == "ctxt") set(stat.switches);
    else if (key == "intr") set(stat.interrupts);
    else if (key == "softirq") set(stat.softirqs);
    else if (key == "processes") set(stat.forks);
    else if (key == "procs_running") set(stat.running);
    else if (key == "procs_blocked") set(stat.blocked);
    else if (int64_t time = 0; key == "btime" && takeNumber(line, time)) stat.boot_s = time;
}

bool parseStat(std::string_view text, SystemStat& stat) {
    stat.all = {};
    stat.cores.clear();
    stat.switches = stat.interrupts = stat.softirqs = stat.forks = stat.running = stat.blocked = std::nullopt;
    stat.boot_s.reset();
    for (std::string_view line; takeLine(text, line);) {
        if (!line.starts_with("cpu")) {
            takeFigure(line, stat);
        } else if (line.starts_with("cpu ")) {
            stat.all = {};
            takeTicks(line.substr(4), stat.all);
        } else {
            line.remove_prefix(3);
            CoreTicks core;
            if (!takeNumber(line, core.core)) continue;
            takeTicks(line, core);
            if (core.columns) stat.cores.push_back(core);
        }
    }
    return stat.all.columns > 0;
}

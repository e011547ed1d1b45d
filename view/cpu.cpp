#include "view/cpu.h"

#include "view/format.h"

#include <initializer_list>

using Time = std::optional<uint64_t> CpuTimes::*;

static std::optional<double> sum(const CpuTimes& times, std::initializer_list<Time> parts) {
    double all = 0;
    bool known = false;
    for (auto part : parts)
        if (times.*part) all += static_cast<double>(*(times.*part)), known = true;
    return known ? std::optional(all) : std::nullopt;
}

// All CPU time that the kernel has counted. User and nice already include guest time.
static double allTime(const CpuTimes& times) {
    return sum(times, {&CpuTimes::user_us, &CpuTimes::nice_us, &CpuTimes::system_us, &CpuTimes::idle_us,
                       &CpuTimes::iowait_us, &CpuTimes::irq_us, &CpuTimes::softirq_us, &CpuTimes::steal_us})
        .value_or(0);
}

static CellValues shares(const CpuTimes& times) {
    const double all = allTime(times);
    const auto share = [&](std::initializer_list<Time> parts) { return percentFigure(sum(times, parts), all); };
    return {share({&CpuTimes::user_us, &CpuTimes::nice_us}),
            share({&CpuTimes::system_us}),
            share({&CpuTimes::irq_us, &CpuTimes::softirq_us}),
            share({&CpuTimes::steal_us}),
            share({&CpuTimes::iowait_us}),
            share({&CpuTimes::idle_us})};
}

static std::string noDecimals(double value) { return fixedText(value, 0); }

CellValues cpuFigures(const Interval& interval) {
    const auto* row = interval.cpu.one();
    if (!row) return {};
    const double seconds = interval.cpu.seconds();
    auto figures = shares(*row);
    figures.push_back({row->mhz, noDecimals});
    for (const auto& count : {row->running, row->blocked}) figures.push_back(levelFigure(count, countText));
    for (const auto& load : {row->load1, row->load5, row->load15}) figures.push_back(decimalFigure(load));
    for (const auto& amount : {row->switches, row->interrupts, row->forks})
        figures.push_back(rateFigure(amount, seconds));
    return figures;
}

void showCpu(const Interval& interval, const View& view, Page& page) {
    static constexpr Column Columns[] = {
        {"CPU",    8, 0, true },
        {"usr%",   5, 0, false},
        {"sys%",   5, 0, false},
        {"irq%",   5, 3, false},
        {"steal%", 6, 2, false},
        {"iow%",   5, 0, false},
        {"idle%",  6, 0, false},
        {"MHz",    5, 6, false},
        {"run",    5, 0, false},
        {"blkd",   5, 0, false},
        {"load1",  6, 1, false},
        {"load5",  6, 4, false},
        {"load15", 6, 5, false},
        {"ctxt/s", 7, 2, false},
        {"intr/s", 7, 3, false},
        {"fork/s", 7, 1, false},
    };
    if (!interval.cpu.one()) return;
    Table table(Columns);
    table.cell("");
    figureCells(cpuFigures(interval), table);
    if (view.extremes) view.extremes->rows("CPU", table);
    table.show(page);
}

void showCores(const Interval& interval, const View& view, Page& page) {
    static constexpr Column Columns[] = {
        {"CORE",   8, 0, true },
        {"usr%",   5, 0, false},
        {"sys%",   5, 0, false},
        {"irq%",   5, 3, false},
        {"steal%", 6, 2, false},
        {"iow%",   5, 0, false},
        {"idle%",  6, 0, false},
        {"MHz",    5, 6, false},
    };
    Table table(Columns);
    size_t left = view.rowsOr(interval.cores.rows.size());
    for (auto& core : interval.cores.rows) {
        if (left-- == 0) break;
        table.cell(fixedText(static_cast<double>(core.core), 0));
        figureCells(shares(core), table);
        table.cell(orNone(core.mhz, [](double v) { return fixedText(v, 0); }));
    }
    if (!table.empty()) table.show(page);
}

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

static void shareCells(const CpuTimes& times, Table& table) {
    const double all = allTime(times);
    const auto share = [&](std::initializer_list<Time> parts) { table.cell(percentText(sum(times, parts), all)); };
    share({&CpuTimes::user_us, &CpuTimes::nice_us});
    share({&CpuTimes::system_us});
    share({&CpuTimes::irq_us, &CpuTimes::softirq_us});
    share({&CpuTimes::steal_us});
    share({&CpuTimes::iowait_us});
    share({&CpuTimes::idle_us});
}

void showCpu(const Interval& interval, const View&, Page& page) {
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
    const auto* row = interval.cpu.one();
    if (!row) return;
    const double seconds = interval.cpu.seconds();
    const auto rate = [&](const std::optional<uint64_t>& amount) {
        return amount && seconds > 0 ? countText(static_cast<double>(*amount) / seconds) : std::string(NoValue);
    };
    const auto load = [](const std::optional<double>& value) {
        return orNone(value, [](double v) { return fixedText(v, 1); });
    };
    Table table(Columns);
    table.cell("");
    shareCells(*row, table);
    table.cell(orNone(row->mhz, [](double v) { return fixedText(v, 0); }));
    table.cell(orNone(row->running, countText)), table.cell(orNone(row->blocked, countText));
    table.cell(load(row->load1)), table.cell(load(row->load5)), table.cell(load(row->load15));
    table.cell(rate(row->switches)), table.cell(rate(row->interrupts)), table.cell(rate(row->forks));
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
        shareCells(core, table);
        table.cell(orNone(core.mhz, [](double v) { return fixedText(v, 0); }));
    }
    if (!table.empty()) table.show(page);
}

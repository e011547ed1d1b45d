#include "wyrtlog/chart/machine.h"

#include "view/format.h"

#include <algorithm>
#include <array>
#include <iterator>

// --- What is shown

namespace {
// The lines, in the order of the table.
enum Shown : size_t {
    CpuSome,
    MemorySome,
    MemoryFull,
    IoSome,
    IoFull,
    IrqFull,
    Running,
    Blocked,
    Load1,
    Load5,
    SwapUsed,
    SwapIn,
    SwapOut,
    Scanned,
    DirectScanned,
    Refaults,
    MajorFaults,
    SelfCpu,
    SelfMemory,
    Count
};

struct Drawn {
    Section section;
    const char* title;
    const char* note;
    const char* unit;
    const char* name;
};
} // namespace

// Lines that follow each other with the same title are one chart.
static constexpr Drawn Table[] = {
    {Section::Cpu,    "Pressure",           "share of the time in which tasks waited: some of them, or all at once", "%",
     "CPU, some"                                                                                                                                       },
    {Section::Cpu,    "Pressure",           "",                                                                      "%",   "memory, some"             },
    {Section::Cpu,    "Pressure",           "",                                                                      "%",   "memory, all"              },
    {Section::Cpu,    "Pressure",           "",                                                                      "%",   "I/O, some"                },
    {Section::Cpu,    "Pressure",           "",                                                                      "%",   "I/O, all"                 },
    {Section::Cpu,    "Pressure",           "",                                                                      "%",   "interrupts, all"          },
    {Section::Cpu,    "Run queue and load", "tasks",                                                                 "",    "running or ready"         },
    {Section::Cpu,    "Run queue and load", "",                                                                      "",    "blocked"                  },
    {Section::Cpu,    "Run queue and load", "",                                                                      "",    "load, 1 minute"           },
    {Section::Cpu,    "Run queue and load", "",                                                                      "",    "load, 5 minutes"          },
    {Section::Memory, "Swap in use",        "",                                                                      "B",   "in use"                   },
    {Section::Memory, "Swap traffic",       "",                                                                      "B/s", "in"                       },
    {Section::Memory, "Swap traffic",       "",                                                                      "B/s", "out"                      },
    {Section::Memory, "Reclaim and faults",
     "pages looked at to be freed, pages read back, and faults that needed a disk",                                  "/s",  "scanned"                  },
    {Section::Memory, "Reclaim and faults", "",                                                                      "/s",  "scanned by those who wait"},
    {Section::Memory, "Reclaim and faults", "",                                                                      "/s",  "read back"                },
    {Section::Memory, "Reclaim and faults", "",                                                                      "/s",  "major faults"             },
    {Section::Self,   "CPU time",           "100% is one CPU",                                                       "%",   "CPU time"                 },
    {Section::Self,   "Memory",             "",                                                                      "B",   "resident"                 },
};
static_assert(std::size(Table) == Shown::Count);

static constexpr const char* CpuParts[] = {"user", "nice", "system", "interrupts", "steal", "waits for I/O (idle)"};
static constexpr const char* MemoryParts[] = {"anonymous",    "shared",        "slab", "kernel stacks, page tables",
                                              "other kernel", "files (cache)", "free"};

// --- One interval

template <size_t N>
static void addMoment(int64_t time_ms, double whole, const std::array<double, N>& values, Stack& stack) {
    Stack::Moment moment{time_ms, static_cast<float>(whole), {}};
    for (size_t i = 0; i < N; i++)
        if (values[i] > 0) moment.parts.push_back({static_cast<uint32_t>(i), static_cast<float>(values[i])});
    stack.add(std::move(moment));
}

void MachineCharts::addCpu(const Interval& interval, int64_t time_ms, Lines& lines) {
    const auto set = [&](Shown shown, const auto& figure, double factor = 1) {
        if (figure) lines.set(numbers[shown], static_cast<double>(*figure) * factor);
    };
    if (const auto* row = interval.cpu.one()) {
        const std::array<double, std::size(CpuParts)> parts{
            valueOf(row->user_us),   valueOf(row->nice_us),
            valueOf(row->system_us), valueOf(row->irq_us) + valueOf(row->softirq_us),
            valueOf(row->steal_us),  valueOf(row->iowait_us)};
        double all = valueOf(row->idle_us), used = 0;
        for (const double part : parts) all += part;
        if (all > 0) {
            auto shares = parts;
            for (double& share : shares) share *= 100 / all;
            for (size_t i = 0; i + 1 < shares.size(); i++) used += shares[i];
            addMoment(time_ms, used, shares, cpu);
        }
        set(Running, row->running), set(Blocked, row->blocked), set(Load1, row->load1), set(Load5, row->load5);
    }
    const auto elapsed_us = static_cast<double>(interval.pressure.elapsed_us);
    if (elapsed_us <= 0) return;
    for (auto& row : interval.pressure.rows) {
        const double share = 100 / elapsed_us;
        if (row.resource == "cpu") set(CpuSome, row.some_us, share);
        if (row.resource == "memory") set(MemorySome, row.some_us, share), set(MemoryFull, row.full_us, share);
        if (row.resource == "io") set(IoSome, row.some_us, share), set(IoFull, row.full_us, share);
        if (row.resource == "irq") set(IrqFull, row.full_us, share);
    }
}

void MachineCharts::addMemory(const Interval& interval, int64_t time_ms, Lines& lines) {
    const auto* row = interval.memory.one();
    if (!row || !row->total) return;
    std::array<double, std::size(MemoryParts)> parts{valueOf(row->anonymous),
                                                     valueOf(row->shared),
                                                     valueOf(row->slab),
                                                     valueOf(row->kernel_stack) + valueOf(row->page_tables),
                                                     0,
                                                     valueOf(row->file),
                                                     valueOf(row->free)};
    double known = 0;
    for (const double part : parts) known += part;
    parts[4] = std::max(0.0, valueOf(row->total) - known);
    const double used = valueOf(row->total) - valueOf(row->available ? row->available : row->free);
    addMoment(time_ms, used, parts, memory);
    if (row->swap_total && row->swap_free && *row->swap_total > 0)
        lines.set(numbers[SwapUsed], valueOf(row->swap_total) - valueOf(row->swap_free));
    const double seconds = interval.memory.seconds();
    if (seconds <= 0) return;
    const auto rate = [&](Shown shown, const std::optional<uint64_t>& amount) {
        if (amount) lines.set(numbers[shown], valueOf(amount) / seconds);
    };
    rate(SwapIn, row->swap_in), rate(SwapOut, row->swap_out), rate(Scanned, row->scanned);
    rate(DirectScanned, row->direct_scanned), rate(Refaults, row->refaults), rate(MajorFaults, row->major_faults);
}

void MachineCharts::addSelf(const Interval& interval, Lines& lines) {
    const auto* row = interval.self.one();
    if (!row) return;
    const auto elapsed_us = static_cast<double>(interval.elapsed_us);
    if (row->cpu_us && elapsed_us > 0) lines.set(numbers[SelfCpu], valueOf(row->cpu_us) * 100 / elapsed_us);
    if (row->memory) lines.set(numbers[SelfMemory], valueOf(row->memory));
}

void MachineCharts::add(const Interval& interval, int64_t time_ms, Lines& lines) {
    if (numbers.empty())
        for (size_t i = 0; i < Shown::Count; i++) numbers.push_back(lines.add(Absent::Unknown));
    addCpu(interval, time_ms, lines);
    addMemory(interval, time_ms, lines);
    addSelf(interval, lines);
}

void MachineCharts::halve() { cpu.halve(), memory.halve(); }

// --- All of them

template <size_t N>
static void giveStack(const Stack& stack, const char* const (&names)[N], Picture&& picture, std::vector<Picture>& all) {
    picture.stacked = true;
    picture.times = pointTimes(stack.moments());
    if (picture.times.empty()) return;
    for (size_t i = 0; i < N; i++) {
        auto points = pointsOf(stack.moments(), static_cast<uint32_t>(i));
        if (std::any_of(points.begin(), points.end(), [](float point) { return point > 0; }))
            picture.series.push_back({names[i], std::move(points)});
    }
    addPicture(std::move(picture), all);
}

void MachineCharts::give(const Lines& lines, std::vector<Picture>& all) const {
    giveStack(cpu, CpuParts, {Section::Cpu, "CPU time", "share of all CPUs", "%", true, false, 100, {}, {}}, all);
    giveStack(memory, MemoryParts, {Section::Memory, "Memory", "what it holds", "B", true, false, 0, {}, {}}, all);
    Picture picture;
    for (size_t i = 0; i < numbers.size(); i++) {
        if (i == 0 || picture.title != Table[i].title || picture.section != Table[i].section) {
            addPicture(std::move(picture), all);
            picture = {Table[i].section, Table[i].title, Table[i].note, Table[i].unit, false, false, 0, {}, {}};
        }
        // A swap that is never used, and pages that are never reclaimed, are no news.
        if (lines[numbers[i]].moved || picture.section != Section::Memory)
            addLine(lines, numbers[i], Table[i].name, picture);
    }
    addPicture(std::move(picture), all);
}

#include "view/cgroup.h"

#include "view/filter.h"
#include "view/format.h"
#include "view/order.h"

#include <algorithm>
#include <vector>

// --- Order

static constexpr Order<CgroupRow> Orders[] = {
    {"cpu",       [](const CgroupRow& r) { return valueOf(r.cpu_us); }                             },
    {"mem",       [](const CgroupRow& r) { return valueOf(r.memory); }                             },
    {"io",        [](const CgroupRow& r) { return valueOf(r.read_bytes) + valueOf(r.write_bytes); }},
    {"throttled", [](const CgroupRow& r) { return valueOf(r.throttled_us); }                       },
    {"pids",      [](const CgroupRow& r) { return valueOf(r.pids); }                               },
};

std::span<const std::string_view> cgroupSorts() { return wordsOf<Orders>(); }

// Memory and tasks are there without anything happening.
static bool isShown(const CgroupRow& row, std::string_view sort) {
    return sort == "mem" || sort == "pids" || valueOf(row.cpu_us) > 0 || valueOf(row.reads) + valueOf(row.writes) > 0 ||
           valueOf(row.throttled_us) > 0 || valueOf(row.memory_some_us) > 0 || valueOf(row.memory_max) > 0 ||
           valueOf(row.oom_kills) > 0;
}

// The whole machine first, then the others by what was asked for, then by memory.
static std::vector<const CgroupRow*> ordered(const Interval& interval, const ViewRow& asked) {
    std::vector<const CgroupRow*> rows;
    for (auto& row : interval.cgroups.rows)
        if (isShown(row, asked.sort) && isGroupBelow(row.path, asked.cgroup)) rows.push_back(&row);
    const auto of = orderOf(Orders, asked.sort).of;
    std::stable_sort(rows.begin(), rows.end(), [&](auto* a, auto* b) {
        const bool first = a->path == "/", second = b->path == "/";
        if (first != second) return first;
        const double left = of(*a), right = of(*b);
        return left != right ? left > right : valueOf(a->memory) > valueOf(b->memory);
    });
    return rows;
}

// --- Cells

// Containers and pods go by name, others by path. An id that no file has a name for is shown with its kind.
static std::string titleOf(const CgroupRow& row, size_t width) {
    const bool container = row.kind == "container" || row.kind == "pod";
    if (!container) return endOf(safeText(row.path), width);
    return endOf(safeText(row.named ? row.name : row.kind + " " + row.name), width);
}

// How near a level is to its limit; "-" without a limit.
static void nearCell(Table& table, const std::optional<double>& part, const std::optional<double>& limit) {
    constexpr double Near = 0.8, Above = 0.95;
    const double share = part && limit.value_or(0) > 0 ? *part / *limit : 0;
    table.cell(percentText(limit ? part : std::nullopt, limit.value_or(0)), share >= Above  ? Tone::Bad
                                                                            : share >= Near ? Tone::Notice
                                                                                            : Tone::Plain);
}

// Of two limits the one that is met first.
static std::optional<uint64_t> lower(const std::optional<uint64_t>& a, const std::optional<uint64_t>& b) {
    return a && b ? std::min(*a, *b) : a ? a : b;
}

static void cells(const CgroupRow& row, double elapsed_us, size_t width, Table& table) {
    constexpr double Second = 1e6, ManyThrottled = 0.1;
    const double seconds = elapsed_us / Second;
    const auto speed = [&](const auto& bytes) { return speedText(bytes, seconds); };
    table.cell(titleOf(row, width));
    table.cell(percentText(row.cpu_us, elapsed_us));
    table.cell(row.quota ? fixedText(*row.quota, 2) : std::string(NoValue));
    nearCell(table, row.cpu_us, row.quota ? std::optional(*row.quota * elapsed_us) : std::nullopt);
    const bool many = valueOf(row.throttled_periods) > ManyThrottled * valueOf(row.periods);
    table.cell(row.throttled_periods ? percentText(valueOf(row.throttled_periods), valueOf(row.periods))
                                     : std::string(NoValue),
               many ? Tone::Bad : Tone::Plain);
    table.cell(orNone(row.memory, sizeText));
    nearCell(table, row.memory, lower(row.memory_limit, row.memory_high_limit));
    table.cell(orNone(row.swap, sizeText));
    table.cell(speed(row.read_bytes)), table.cell(speed(row.write_bytes));
    table.cell(orNone(row.pids, countText));
    nearCell(table, row.pids, row.pids_limit);
    for (const auto& stall : {row.cpu_some_us, row.memory_some_us, row.io_some_us})
        table.cell(percentText(stall, elapsed_us));
    table.cell(orNone(row.oom_kills, countText), valueOf(row.oom_kills) > 0 ? Tone::Bad : Tone::Plain);
    table.cell(safeText(row.kind));
}

// How wide the names may be.
static size_t nameWidth(size_t page) {
    constexpr size_t Least = 30, Share = 3; // of the page
    return page ? std::max(Least, page / Share) : SIZE_MAX;
}

// --- The table

void showCgroups(const Interval& interval, const View& view, Page& page) {
    static constexpr Column Columns[] = {
        {"CGROUP", 20, 0, true },
        {"cpu%",   6,  0, false},
        {"quota",  5,  3, false},
        {"quota%", 6,  1, false},
        {"thr%",   5,  1, false},
        {"mem",    5,  0, false},
        {"mem%",   5,  1, false},
        {"swap",   5,  4, false},
        {"rMB/s",  5,  1, false},
        {"wMB/s",  5,  1, false},
        {"pids",   4,  2, false},
        {"pids%",  5,  4, false},
        {"cpu_st", 6,  5, false},
        {"mem_st", 6,  3, false},
        {"io_st",  5,  3, false},
        {"oom",    3,  2, false},
        {"kind",   0,  6, true },
    };
    constexpr size_t MostRows = 20;
    const auto* all = interval.cgroupsTotal.one();
    if (!all) return;
    const auto rows = ordered(interval, view.asked);
    const size_t shown = std::min(rows.size(), view.rowsOr(MostRows));
    std::string sum = counted(all->groups, "group") + ", " +
                      (all->idle == all->groups ? std::string() : std::to_string(all->idle) + " ") + "idle";
    if (shown == 0) {
        size_t used = 0;
        page.piece("CGROUP", used, Tone::Title), page.piece("  " + sum, used);
        return page.newline();
    }
    Table table(Columns);
    for (size_t i = 0; i < shown; i++)
        cells(*rows[i], static_cast<double>(interval.cgroups.elapsed_us), nameWidth(page.width()), table);
    table.show(page);
    if (rows.size() > shown) sum += ", " + std::to_string(rows.size() - shown) + " more that were active";
    page.clauses(sum, Tone::Dim);
}

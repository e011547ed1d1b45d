#include "view/disk.h"

#include "view/format.h"
#include "view/order.h"

#include <algorithm>
#include <span>
#include <vector>

// --- Cells

static CellValues activityFigures(const DiskActivity& disk, double seconds) {
    const auto rate = [&](const auto& amount) { return rateFigure(amount, seconds); };
    const auto speed = [&](const auto& bytes) { return speedFigure(bytes, seconds); };
    // The mean wait of a request; without requests there is none.
    const auto wait = [](const std::optional<uint64_t>& us, const std::optional<uint64_t>& requests) {
        return decimalFigure(us && valueOf(requests) > 0 ? std::optional(valueOf(us) / 1000 / valueOf(requests))
                                                         : std::nullopt);
    };
    const bool queued = disk.queue_us && seconds > 0;
    return {rate(disk.reads),
            speed(disk.read_bytes),
            wait(disk.read_us, disk.reads),
            rate(disk.writes),
            speed(disk.write_bytes),
            wait(disk.write_us, disk.writes),
            rate(disk.flushes),
            wait(disk.flush_us, disk.flushes),
            speed(disk.discard_bytes),
            decimalFigure(queued ? std::optional(valueOf(disk.queue_us) / 1e6 / seconds) : std::nullopt)};
}

CellValues diskFigures(const Interval& interval) {
    const auto* all = interval.disksTotal.one();
    return all ? activityFigures(*all, interval.disksTotal.seconds()) : CellValues();
}

// --- Order

static constexpr Order<DiskRow> Orders[] = {
    {"busy",  [](const DiskRow& r) { return valueOf(r.busy_us); }                      },
    {"read",  [](const DiskRow& r) { return valueOf(r.read_bytes); }                   },
    {"write", [](const DiskRow& r) { return valueOf(r.write_bytes); }                  },
    {"wait",  [](const DiskRow& r) { return valueOf(r.read_us) + valueOf(r.write_us); }},
    {"queue", [](const DiskRow& r) { return valueOf(r.queue_us); }                     },
};

std::span<const std::string_view> diskSorts() { return wordsOf<Orders>(); }

static double bytesOf(const DiskRow& row) { return valueOf(row.read_bytes) + valueOf(row.write_bytes); }

static std::vector<const DiskRow*> ordered(const Interval& interval, const ViewRow& asked) {
    std::vector<const DiskRow*> rows;
    for (auto& row : interval.disks.rows) {
        const bool active = bytesOf(row) > 0 || valueOf(row.reads) + valueOf(row.writes) > 0 || row.in_flight > 0 ||
                            valueOf(row.discards) + valueOf(row.flushes) > 0;
        if (active && (asked.partitions || row.kind != "partition")) rows.push_back(&row);
    }
    const auto of = orderOf(Orders, asked.sort).of;
    std::stable_sort(rows.begin(), rows.end(), [&](auto* a, auto* b) {
        const double left = of(*a), right = of(*b);
        return left != right ? left > right : bytesOf(*a) > bytesOf(*b);
    });
    return rows;
}

// --- The table

void showDisks(const Interval& interval, const View& view, Page& page) {
    static constexpr Column Columns[] = {
        {"DISK",  12, 0, true },
        {"r/s",   6,  0, false},
        {"rMB/s", 6,  0, false},
        {"r_ms",  6,  1, false},
        {"w/s",   6,  0, false},
        {"wMB/s", 6,  0, false},
        {"w_ms",  6,  1, false},
        {"fl/s",  5,  4, false},
        {"fl_ms", 5,  5, false},
        {"dMB/s", 5,  6, false},
        {"queue", 5,  2, false},
        {"busy%", 5,  1, false},
        {"holds", 0,  3, true },
    };
    const auto* all = interval.disksTotal.one();
    if (!all) return;
    const double seconds = interval.disksTotal.seconds();
    const auto rows = ordered(interval, view.asked);
    if (rows.empty() && all->idle == all->disks) {
        size_t used = 0;
        page.piece("DISK", used, Tone::Title);
        page.piece("  " + counted(all->disks, "disk") + ", idle", used);
        return page.newline();
    }
    Table table(Columns);
    constexpr size_t Most = 16;
    const size_t shown = std::min(rows.size(), view.rowsOr(Most));
    for (const auto* row : std::span(rows).first(shown)) {
        table.cell(safeText(nameOf(*row)));
        figureCells(activityFigures(*row, seconds), table);
        table.cell(percentText(row->busy_us ? std::optional(valueOf(row->busy_us)) : std::nullopt,
                               static_cast<double>(interval.disksTotal.elapsed_us)));
        table.cell(safeText(!row->holds.empty() || row->kind == "disk" ? row->holds : row->kind));
    }
    table.cell("all " + std::to_string(all->disks));
    figureCells(diskFigures(interval), table);
    table.cell("");
    std::string others = all->idle ? std::to_string(all->idle) + " idle" : std::string();
    if (rows.size() > shown)
        others += (others.empty() ? "" : ", ") + std::to_string(rows.size() - shown) + " not shown";
    table.cell(others);
    constexpr size_t BusyAndHolds = 2;
    if (view.extremes) view.extremes->rows("DISK", table, BusyAndHolds);
    table.show(page);
}

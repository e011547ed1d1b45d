#include "view/disk.h"

#include "view/format.h"

#include <algorithm>
#include <span>
#include <vector>

static double value(const std::optional<uint64_t>& amount) { return static_cast<double>(amount.value_or(0)); }

// --- Cells

static void activityCells(const DiskActivity& disk, double seconds, Table& table) {
    constexpr double MB = 1048576;
    const auto rate = [&](const std::optional<uint64_t>& amount) {
        return amount && seconds > 0 ? countText(value(amount) / seconds) : std::string(NoValue);
    };
    const auto speed = [&](const std::optional<uint64_t>& bytes) {
        return bytes && seconds > 0 ? fixedText(value(bytes) / MB / seconds, 1) : std::string(NoValue);
    };
    // The mean wait of a request; without requests there is none.
    const auto wait = [](const std::optional<uint64_t>& us, const std::optional<uint64_t>& requests) {
        return us && value(requests) > 0 ? fixedText(value(us) / 1000 / value(requests), 1) : std::string(NoValue);
    };
    table.cell(rate(disk.reads)), table.cell(speed(disk.read_bytes)), table.cell(wait(disk.read_us, disk.reads));
    table.cell(rate(disk.writes)), table.cell(speed(disk.write_bytes)), table.cell(wait(disk.write_us, disk.writes));
    table.cell(rate(disk.flushes)), table.cell(wait(disk.flush_us, disk.flushes));
    table.cell(speed(disk.discard_bytes));
    table.cell(disk.queue_us && seconds > 0 ? fixedText(value(disk.queue_us) / 1e6 / seconds, 1)
                                            : std::string(NoValue));
}

// --- Order

namespace {
// What the disks can be sorted by, most first.
struct Order {
    std::string_view word;
    double (*of)(const DiskRow&);
};
} // namespace
static constexpr Order Orders[] = {
    {"busy",  [](const DiskRow& r) { return value(r.busy_us); }                    },
    {"read",  [](const DiskRow& r) { return value(r.read_bytes); }                 },
    {"write", [](const DiskRow& r) { return value(r.write_bytes); }                },
    {"wait",  [](const DiskRow& r) { return value(r.read_us) + value(r.write_us); }},
    {"queue", [](const DiskRow& r) { return value(r.queue_us); }                   },
};

static double bytesOf(const DiskRow& row) { return value(row.read_bytes) + value(row.write_bytes); }

static std::vector<const DiskRow*> ordered(const Interval& interval, const ViewRow& asked) {
    std::vector<const DiskRow*> rows;
    for (auto& row : interval.disks.rows) {
        const bool active = bytesOf(row) > 0 || value(row.reads) + value(row.writes) > 0 || row.in_flight > 0 ||
                            value(row.discards) + value(row.flushes) > 0;
        if (active && (asked.partitions || row.kind != "partition")) rows.push_back(&row);
    }
    const auto* known =
        std::find_if(std::begin(Orders), std::end(Orders), [&](auto& order) { return order.word == asked.sort; });
    const auto of = known == std::end(Orders) ? Orders[0].of : known->of;
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
        page.piece("  " + std::to_string(all->disks) + (all->disks == 1 ? " disk" : " disks") + ", idle", used);
        return page.newline();
    }
    Table table(Columns);
    constexpr size_t Most = 16;
    const size_t shown = std::min(rows.size(), view.rowsOr(Most));
    for (const auto* row : std::span(rows).first(shown)) {
        table.cell(safeText(row->name));
        activityCells(*row, seconds, table);
        table.cell(percentText(row->busy_us ? std::optional(value(row->busy_us)) : std::nullopt,
                               static_cast<double>(interval.disksTotal.elapsed_us)));
        table.cell(safeText(!row->holds.empty() || row->kind == "disk" ? row->holds : row->kind));
    }
    table.cell("all " + std::to_string(all->disks));
    activityCells(*all, interval.disksTotal.seconds(), table);
    table.cell("");
    std::string others = all->idle ? std::to_string(all->idle) + " idle" : std::string();
    if (rows.size() > shown)
        others += (others.empty() ? "" : ", ") + std::to_string(rows.size() - shown) + " not shown";
    table.cell(others);
    table.show(page);
}

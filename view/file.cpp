#include "view/file.h"

#include "view/filter.h"
#include "view/format.h"
#include "view/order.h"

#include <algorithm>
#include <iterator>
#include <vector>

// --- Order

static constexpr Order<FileRow> Orders[] = {
    {"forward",  [](const FileRow& r) { return valueOf(r.forward); }                       },
    {"back",     [](const FileRow& r) { return valueOf(r.backward); }                      },
    {"growth",   [](const FileRow& r) { return static_cast<double>(r.growth.value_or(0)); }},
    {"position", [](const FileRow& r) { return valueOf(r.position); }                      },
    {"size",     [](const FileRow& r) { return valueOf(r.size); }                          },
};

std::span<const std::string_view> fileSorts() { return wordsOf<Orders>(); }

// Where the figures are equal, as they are 0 for all that was written without a movement: by growth, then as they come.
static std::vector<const FileRow*> ordered(const Interval& interval, const ViewRow& asked) {
    std::vector<const FileRow*> rows;
    const Filter filter(asked, interval);
    for (auto& row : interval.files.rows)
        if (filter.wants(row)) rows.push_back(&row);
    const auto of = orderOf(Orders, asked.sort).of;
    std::stable_sort(rows.begin(), rows.end(), [&](auto* a, auto* b) {
        const double left = of(*a), right = of(*b);
        return left != right ? left > right : a->growth.value_or(0) > b->growth.value_or(0);
    });
    return rows;
}

// --- The table

static std::string deviceText(const FileRow& row) {
    const auto& volume = row.volume.empty() ? row.device : row.volume;
    return safeText(row.disk.empty() || row.disk == volume ? volume : volume + " " + row.disk);
}

// Where a terminal is narrow, the end of a long path: it says more than the beginning, and leaves room for figures.
static std::string pathText(const FileRow& row, size_t width) {
    const auto text = safeText(row.path) + (row.deleted ? " (deleted)" : "");
    return width == 0 ? text : endOf(text, width * 2 / 5);
}

// The file through which the first culprit of the first finding did it; null: the finding names none of these.
static const FileRow* culpritOf(const Interval& interval, const std::vector<const FileRow*>& rows) {
    const auto* who = firstCulprit(interval.who);
    if (!who || !who->descriptor) return nullptr;
    for (const auto* row : rows)
        if (row->pid == who->pid && row->start == who->start && row->descriptor == who->descriptor) return row;
    return nullptr;
}

static void cells(const FileRow& row, bool culprit, double seconds, size_t width, Table& table) {
    const auto rate = [&](const auto& bytes) { return speedText(bytes, seconds); };
    table.cell(culprit ? ">" : "", Tone::Bad);
    table.cell(std::to_string(row.pid)), table.cell(safeText(row.name));
    table.cell(std::to_string(row.descriptor)), table.cell(safeText(row.flags));
    table.cell(safeText(row.mark)), table.cell(safeText(row.evidence));
    table.cell(rate(row.forward)), table.cell(rate(row.backward));
    table.cell(row.growth && seconds > 0 ? sizeText(static_cast<double>(*row.growth) / seconds) : std::string(NoValue));
    table.cell(orNone(row.position, sizeText)), table.cell(orNone(row.size, sizeText));
    table.cell(deviceText(row)), table.cell(safeText(row.mount));
    table.cell(pathText(row, width));
}

static std::string footer(const FilesRow& all, size_t shown) {
    const auto count = [](uint64_t number, const char* what) { return std::to_string(number) + what; };
    std::string text = all.moved || all.written
                           ? count(all.moved, " moved, ") + count(all.written, " written, ") + count(shown, " shown; ")
                           : std::string("none moved; ");
    text += count(all.descriptors, " descriptors of ") + count(all.processes, " processes that ran, ") +
            count(all.known, " known");
    if (all.not_allowed) text += "; " + count(all.not_allowed, " not allowed: wyrt check");
    return text;
}

void showFiles(const Interval& interval, const View& view, Page& page) {
    static constexpr Column Columns[] = {
        {"FILE",     4,  0, true },
        {"pid",      7,  0, false},
        {"name",     15, 0, true },
        {"fd",       3,  1, false},
        {"flags",    5,  6, true },
        {"=~",       2,  0, true },
        {"how",      7,  4, true },
        {"MB/s",     6,  0, false},
        {"back/s",   6,  7, false},
        {"grows/s",  7,  2, false},
        {"position", 8,  3, false},
        {"size",     6,  5, false},
        {"disk",     5,  2, true },
        {"mount",    5,  8, true },
        {"path",     0,  0, true },
    };
    constexpr size_t Usual = 20; // rows, unless others are asked for
    const auto* all = interval.filesTotal.one();
    if (!all || (all->known == 0 && all->processes == 0 && all->not_allowed == 0)) return;
    auto rows = ordered(interval, view.asked);
    const auto* culprit = culpritOf(interval, rows);
    if (const auto at = std::find(rows.begin(), rows.end(), culprit); at != rows.end())
        std::rotate(rows.begin(), at, at + 1);
    const size_t shown = std::min(view.rowsOr(Usual), rows.size());
    if (shown == 0) return page.clauses("FILE  " + footer(*all, 0));
    Table table(Columns);
    for (size_t i = 0; i < shown; i++)
        cells(*rows[i], rows[i] == culprit, interval.files.seconds(), page.width(), table);
    table.show(page);
    page.clauses("     " + footer(*all, shown), Tone::Dim);
}

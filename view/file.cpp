#include "view/file.h"

#include "view/filter.h"
#include "view/format.h"

#include <algorithm>
#include <iterator>
#include <vector>

static double value(const std::optional<uint64_t>& amount) { return static_cast<double>(amount.value_or(0)); }

// --- Order

namespace {
// What the files can be sorted by, most first.
struct Order {
    std::string_view word;
    double (*of)(const FileRow&);
};
} // namespace
static constexpr Order Orders[] = {
    {"forward",  [](const FileRow& r) { return value(r.forward); }                         },
    {"back",     [](const FileRow& r) { return value(r.backward); }                        },
    {"growth",   [](const FileRow& r) { return static_cast<double>(r.growth.value_or(0)); }},
    {"position", [](const FileRow& r) { return value(r.position); }                        },
    {"size",     [](const FileRow& r) { return value(r.size); }                            },
};

// Where the figures are equal, as they are 0 for all that was written without a movement: by growth, then as they come.
static std::vector<const FileRow*> ordered(const Interval& interval, const ViewRow& asked) {
    std::vector<const FileRow*> rows;
    const Filter filter(asked, interval);
    for (auto& row : interval.files.rows)
        if (filter.wants(row)) rows.push_back(&row);
    const auto* known =
        std::find_if(std::begin(Orders), std::end(Orders), [&](auto& order) { return order.word == asked.sort; });
    const auto of = known == std::end(Orders) ? Orders[0].of : known->of;
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
    constexpr size_t LongestCharacter = 4; // bytes
    const auto text = safeText(row.path) + (row.deleted ? " (deleted)" : "");
    const size_t room = width * 2 / 5;
    if (width == 0 || textWidth(text) <= room) return text;
    std::string_view end = text;
    end.remove_prefix(end.size() - std::min(end.size(), room * LongestCharacter));
    const auto inside = [&] { return (static_cast<unsigned char>(end.front()) & 0xC0) == 0x80; };
    while (!end.empty() && (inside() || textWidth(end) + 3 > room)) end.remove_prefix(1);
    return "..." + std::string(end);
}

static void cells(const FileRow& row, double seconds, size_t width, Table& table) {
    constexpr double MB = 1048576;
    const auto rate = [&](const std::optional<uint64_t>& bytes) {
        return bytes && seconds > 0 ? fixedText(value(bytes) / MB / seconds, 1) : std::string(NoValue);
    };
    table.cell("");
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
    const auto rows = ordered(interval, view.asked);
    const size_t shown = std::min(view.rowsOr(Usual), rows.size());
    if (shown == 0) return page.line("FILE " + footer(*all, 0));
    Table table(Columns);
    for (size_t i = 0; i < shown; i++) cells(*rows[i], interval.files.seconds(), page.width(), table);
    table.show(page);
    page.line("     " + footer(*all, shown), Tone::Dim);
}

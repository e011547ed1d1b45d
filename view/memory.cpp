#include "view/memory.h"

#include "view/format.h"

#include <algorithm>

static std::string share(const std::optional<uint64_t>& part, const std::optional<uint64_t>& whole) {
    return percentText(part, valueOf(whole));
}

static void showNodes(const Interval& interval, const View& view, Page& page) {
    static constexpr Column Columns[] = {
        {"NODE",  8, 0, true },
        {"total", 5, 0, false},
        {"free",  5, 0, false},
        {"free%", 6, 0, false},
        {"anon",  5, 1, false},
        {"file",  5, 1, false},
    };
    auto& nodes = interval.nodes.rows;
    if (nodes.size() < 2) return;
    Table table(Columns);
    for (size_t i = 0; i < std::min(nodes.size(), view.rowsOr(nodes.size())); i++) {
        auto& node = nodes[i];
        table.cell(std::to_string(node.node));
        table.cell(orNone(node.total, sizeText)), table.cell(orNone(node.free, sizeText));
        table.cell(share(node.free, node.total));
        table.cell(orNone(node.anonymous, sizeText)), table.cell(orNone(node.file, sizeText));
    }
    table.show(page);
}

CellValues memoryFigures(const Interval& interval) {
    const auto* row = interval.memory.one();
    if (!row) return {};
    const double seconds = interval.memory.seconds();
    std::optional<uint64_t> swapped;
    if (row->swap_total && row->swap_free) swapped = *row->swap_total - std::min(*row->swap_free, *row->swap_total);
    const auto available = row->available ? std::optional(valueOf(row->available)) : std::nullopt;
    CellValues figures{levelFigure(row->total, sizeText), levelFigure(row->available, sizeText),
                       percentFigure(available, valueOf(row->total))};
    for (const auto& level :
         {row->anonymous, row->file, row->slab, row->dirty, row->dirty_limit, row->writeback, swapped})
        figures.push_back(levelFigure(level, sizeText));
    for (const auto& bytes : {row->swap_in, row->swap_out})
        figures.push_back({rateFigure(bytes, seconds).value, sizeText});
    for (const auto& amount : {row->scanned, row->refaults, row->major_faults})
        figures.push_back(rateFigure(amount, seconds));
    figures.push_back(levelFigure(row->oom_kills, countText));
    return figures;
}

void showMemory(const Interval& interval, const View& view, Page& page) {
    static constexpr Column Columns[] = {
        {"MEM",       8, 0, true },
        {"total",     5, 1, false},
        {"avail",     5, 0, false},
        {"avail%",    6, 0, false},
        {"anon",      5, 2, false},
        {"file",      5, 4, false},
        {"slab",      5, 5, false},
        {"dirty",     5, 3, false},
        {"limit",     5, 7, false},
        {"wback",     5, 6, false},
        {"swap",      5, 1, false},
        {"si/s",      6, 1, false},
        {"so/s",      6, 1, false},
        {"scan/s",    6, 3, false},
        {"refault/s", 9, 4, false},
        {"majf/s",    6, 2, false},
        {"oom",       3, 0, false},
    };
    if (!interval.memory.one()) return;
    Table table(Columns);
    table.cell("");
    figureCells(memoryFigures(interval), table);
    if (view.extremes) view.extremes->rows("MEM", table);
    table.show(page);
    showNodes(interval, view, page);
}

// "some  3.1%"
static std::string stallText(std::string_view name, const std::optional<uint64_t>& amount, double elapsed_us) {
    constexpr size_t Width = 5; // "100.0"
    const auto text = percentText(amount ? std::optional(static_cast<double>(*amount)) : std::nullopt, elapsed_us);
    return " " + std::string(name) + std::string(1 + Width - std::min(Width, text.size()), ' ') + text + "%";
}

// "STALL   cpu some   3.1%  mem some   0.4% full   0.3%  io some  71.5% full  62.0%"
void showPressure(const Interval& interval, const View&, Page& page) {
    if (interval.pressure.rows.empty()) return;
    size_t used = 0;
    page.piece("STALL ", used, Tone::Title);
    const auto elapsed = static_cast<double>(interval.pressure.elapsed_us);
    const auto fits = [&](const std::string& text) { return page.width() == 0 || used + text.size() <= page.width(); };
    bool told = false;
    for (auto& row : interval.pressure.rows) {
        if (!row.some_us && !row.full_us) continue;
        told = true;
        auto text = "  " + (row.resource == "memory" ? "mem" : safeText(row.resource));
        if (row.some_us) text += stallText("some", row.some_us, elapsed);
        // The kernel books no full stall of the CPU for the machine as a whole.
        if (row.full_us && row.resource != "cpu") text += stallText("full", row.full_us, elapsed);
        if (fits(text)) page.piece(text, used); // half a number would be another one
    }
    const std::string note = "  (share of the " + fixedText(elapsed / 1e6, 3) + " s)";
    if (!told) page.piece("  could not be read: see wyrt check", used, Tone::Dim);
    else if (fits(note)) page.piece(note, used, Tone::Dim);
    page.newline();
}

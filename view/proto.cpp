#include "view/proto.h"

#include "view/format.h"

#include <algorithm>
#include <vector>

void showProtocols(const Interval& interval, const View& view, Page& page) {
    static constexpr Column Columns[] = {
        {"PROTO",   8,  0, true },
        {"counter", 26, 0, true },
        {"amount",  7,  0, false},
        {"per s",   7,  0, false},
    };
    const auto* all = interval.protocolsTotal.one();
    if (!all) return;
    const double seconds = interval.protocolsTotal.seconds();
    std::vector<const ProtocolRow*> rows;
    for (auto& row : interval.protocols.rows)
        if (row.amount.value_or(0) > 0) rows.push_back(&row);
    if (all->moved == 0) {
        size_t used = 0;
        page.piece("PROTO", used, Tone::Title);
        page.piece("  " + counted(all->counters, "counter") + ", none moved", used);
        return page.newline();
    }
    // Equal ones in the kernel's order.
    std::stable_sort(rows.begin(), rows.end(), [](auto* a, auto* b) { return *a->amount > *b->amount; });
    constexpr size_t Most = 12;
    const size_t shown = std::min(rows.size(), view.rowsOr(Most));
    Table table(Columns);
    for (size_t i = 0; i < shown; i++) {
        const auto amount = static_cast<double>(*rows[i]->amount);
        table.cell(safeText(rows[i]->protocol)), table.cell(safeText(rows[i]->name));
        table.cell(countText(amount)), table.cell(seconds > 0 ? countText(amount / seconds) : std::string(NoValue));
    }
    const std::string moved = std::to_string(all->moved) + " of " + std::to_string(all->counters) + " moved";
    const std::string others =
        all->moved > shown ? ", " + std::to_string(all->moved - shown) + " not shown" : std::string();
    if (!table.empty()) table.show(page, "(" + moved + others + ")");
}

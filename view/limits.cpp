#include "view/limits.h"

#include "view/format.h"

#include <algorithm>
#include <vector>

// "LIMITS  nearest conntrack 31.0%"
static void showNearest(const std::vector<LimitRow>& rows, Page& page) {
    size_t used = 0;
    page.piece("LIMITS", used, Tone::Title);
    const auto nearest = std::max_element(
        rows.begin(), rows.end(), [](auto& a, auto& b) { return useOf(a).value_or(-1) < useOf(b).value_or(-1); });
    const auto use = nearest == rows.end() ? std::nullopt : useOf(*nearest);
    page.piece(use ? "  nearest " + safeText(nearest->name) + " " + fixedText(*use, 1) + "%" : "  none known", used);
    page.newline();
}

void showLimits(const Interval& interval, const View&, Page& page) {
    static constexpr Column Columns[] = {
        {"LIMITS",    13, 0, true },
        {"use%",      5,  0, false},
        {"use",       7,  0, false},
        {"limit",     7,  0, false},
        {"reached/s", 9,  0, false},
    };
    constexpr double Exhausted = 90; // percent
    const auto& all = interval.limits;
    if (all.rows.empty()) return;
    Table table(Columns);
    for (auto& row : all.rows) {
        const auto use = useOf(row);
        const bool reached = row.reached.value_or(0) > 0;
        if (use.value_or(0) < NearLimit && !reached) continue;
        const auto number = [&](const std::optional<uint64_t>& value) {
            return row.unit == "B" ? orNone(value, sizeText) : orNone(value, countText);
        };
        table.cell(safeText(row.name));
        table.cell(orNone(use, [](double v) { return fixedText(v, 1); }), use.value_or(0) >= Exhausted   ? Tone::Bad
                                                                          : use.value_or(0) >= NearLimit ? Tone::Notice
                                                                                                         : Tone::Plain);
        table.cell(number(row.use)), table.cell(number(row.limit));
        table.cell(rateText(row.reached, all.seconds()), reached ? Tone::Notice : Tone::Plain);
    }
    if (table.empty()) return showNearest(all.rows, page);
    table.show(page);
}

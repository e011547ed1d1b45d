// Limits how many rows of a kind an interval may have, because a storm of processes or sockets must not fill the log.
// The largest rows by each figure stay. The amounts of the others are added up in one row, so that all sums stay exact.
#pragma once

#include "record/kind.h"
#include "record/rows.h"

#include <algorithm>
#include <cstddef>
#include <vector>

inline constexpr size_t RowBudget = 500; // of one kind in one interval

// The rows that stay. Kept by the caller, whose memory is then used again.
class BudgetSpace {
    std::vector<size_t> order;
    size_t budget = 0, count = 0; // rows to keep; those that are kept so far

public:
    std::vector<char> kept;      // by row
    std::vector<double> figures; // of one member, by row

    // Starts with so many rows to keep. Those that are kept already count.
    void start(size_t rows);
    // Keeps at most `share` more rows: the largest by `figures`, and none of 0.
    void keepLargest(size_t share);
    // Keeps the first rows until the budget is used up.
    void keepFirst();
};

// Leaves at most `budget` rows, those for which `always(row)` holds first; more only where these alone are more. Rows
// keep their order.
template <typename Kind, typename Always>
void applyBudget(const Kind& kind, Rows<typename Kind::Row>& rows, size_t budget, BudgetSpace& space,
                 const Always& always) {
    if (rows.rows.size() <= budget) return;
    const auto& all = rows.rows;
    space.kept.assign(all.size(), 0);
    for (size_t i = 0; i < all.size(); i++) space.kept[i] = always(all[i]) ? 1 : 0;
    const auto figures = std::count_if(kind.members.begin(), kind.members.end(), [](auto& m) { return m.isFigure(); });
    const size_t share = figures ? budget / static_cast<size_t>(figures) : 0;
    space.start(budget);
    // Each figure keeps its share of largest rows. When another figure has kept the same rows already, the room saved
    // goes to the next figures, and in the end to the first rows.
    for (auto& member : kind.members) {
        if (!member.isFigure()) continue;
        space.figures.clear();
        for (auto& row : all) space.figures.push_back(figureOf(member.in(row)));
        space.keepLargest(share);
    }
    space.keepFirst();
    size_t to = 0;
    for (size_t i = 0; i < all.size(); i++) {
        if (!space.kept[i]) {
            if (!rows.rest) rows.rest.emplace();
            addAmounts(kind, all[i], *rows.rest);
        } else if (to++ != i) {
            rows.rows[to - 1] = std::move(rows.rows[i]);
        }
    }
    rows.rows.resize(to);
}

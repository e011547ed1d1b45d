// Limits how many rows of a kind an interval may have, because a storm of processes or sockets must not fill the log.
// The largest rows by each figure stay. The amounts of the others are added up in one row, so that all sums stay exact.
#pragma once

#include "record/kind.h"
#include "record/rows.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

inline constexpr size_t RowBudget = 500; // of one kind in one interval

// Working space, kept by the caller.
struct BudgetSpace {
    std::vector<size_t> order;
    std::vector<char> kept;
};

template <typename T> double figureOf(const T& value) {
    if constexpr (IsOptional<T>::value) return value ? figureOf(*value) : 0;
    else if constexpr (Number<T>) return static_cast<double>(value);
    else return 0;
}

// Marks the `most` largest rows by one member as candidates: the first entries of `order`.
template <typename Row, typename T>
void orderBy(const std::vector<Row>& rows, const Member<Row, T>& member, size_t most, std::vector<size_t>& order) {
    order.resize(rows.size());
    std::iota(order.begin(), order.end(), size_t{0});
    const auto larger = [&](size_t a, size_t b) {
        const double left = figureOf(rows[a].*member.at), right = figureOf(rows[b].*member.at);
        return left != right ? left > right : a < b;
    };
    std::partial_sort(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(most), order.end(), larger);
}

// Leaves `budget` rows besides those for which `always(row)` holds; rows keep their order.
template <typename Kind, typename Always>
void applyBudget(const Kind& kind, Rows<typename Kind::Row>& rows, size_t budget, BudgetSpace& space,
                 const Always& always) {
    if (rows.rows.size() <= budget) return;
    auto& kept = space.kept;
    kept.assign(rows.rows.size(), 0);
    for (size_t i = 0; i < rows.rows.size(); i++) kept[i] = always(rows.rows[i]) ? 1 : 0;
    size_t figures = 0;
    kind.each([&](const auto& member) { figures += member.role == Role::Amount || member.role == Role::Level; });
    const size_t share = figures ? budget / figures : 0;
    size_t left = budget;
    // Each figure keeps its share of largest rows. When another figure has kept the same rows already, the room saved
    // goes to the next figures, and in the end to the first rows.
    kind.each([&](const auto& member) {
        if (member.role != Role::Amount && member.role != Role::Level) return;
        const size_t most = std::min(rows.rows.size(), share + (budget - left));
        orderBy(rows.rows, member, most, space.order);
        size_t taken = 0;
        for (size_t i = 0; i < most && taken < share && left > 0; i++) {
            if (kept[space.order[i]] || figureOf(rows.rows[space.order[i]].*member.at) <= 0) continue;
            kept[space.order[i]] = 1, taken++, left--;
        }
    });
    for (size_t i = 0; i < kept.size() && left > 0; i++)
        if (!kept[i]) kept[i] = 1, left--;
    size_t to = 0;
    for (size_t i = 0; i < kept.size(); i++) {
        if (!kept[i]) {
            if (!rows.rest) rows.rest.emplace();
            addAmounts(kind, rows.rows[i], *rows.rest);
        } else if (to++ != i) {
            rows.rows[to - 1] = std::move(rows.rows[i]);
        }
    }
    rows.rows.resize(to);
}

// Writes intervals that readers take, however many things the machine has.
#pragma once

#include "record/budget.h"
#include "record/log.h"

#include <cstddef>
#include <string>
#include <type_traits>

// The rows of an interval, with what their texts can take, may have so many bytes: readers take no more, because a
// forged log must not take memory without end.
inline constexpr size_t MostRowBytes = size_t{36} << 20;

// Whether readers take an interval whose text has so many bytes. Larger ones count as damaged.
inline bool readersTake(const Interval& interval, size_t textBytes) {
    size_t bytes = textBytes;
    eachKind(interval, [&](const auto&, const auto& of) {
        using Row = typename std::remove_cvref_t<decltype(of)>::Row;
        bytes += (of.rows.size() + (of.rest ? 1 : 0)) * sizeof(Row);
    });
    return textBytes <= LogFrames::MostBytes && bytes <= MostRowBytes;
}

// Leaves so many rows of each kind, and the sum of the others. `Named` is made of an interval and says of a row whether
// it has to stay.
template <typename Named> void keepBudget(Interval& interval, size_t rowsOfKind, BudgetSpace& space) {
    const Named named(interval);
    eachKind(interval, [&](const auto& kind, auto& rows) {
        applyBudget(kind, rows, rowsOfKind, space, [&](const auto& row) { return named.has(row); });
    });
}

// Appends an interval to a log. Where all things together would be too large for a reader, as tens of thousands of
// processes in a first interval, only the largest by each figure stay in the interval.
template <typename Named>
void appendFitting(LogWriter& log, Interval& interval, BudgetSpace& space, std::string& text) {
    constexpr size_t Many = 16384; // rows of a kind
    const size_t begin = text.size();
    log.interval(interval, text);
    for (size_t rows = Many; rows > 0 && !readersTake(interval, text.size() - begin); rows /= 2) {
        keepBudget<Named>(interval, rows, space);
        text.resize(begin);
        log.interval(interval, text);
    }
}

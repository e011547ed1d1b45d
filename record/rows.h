// The rows of one kind in one interval.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

template <typename R> struct Rows {
    using Row = R;
    bool sampled = false;   // the area was sampled in this interval
    int64_t elapsed_us = 0; // between the area's own two reads; 0: there was only one
    std::vector<Row> rows;
    std::optional<Row> rest; // the sum of the rows that found no room

    // The row of a kind that has only one; null: the interval has none.
    const Row* one() const { return rows.empty() ? nullptr : &rows.front(); }
    double seconds() const { return static_cast<double>(elapsed_us) / 1e6; }
    void clear() {
        sampled = false;
        elapsed_us = 0;
        rows.clear();
        rest.reset();
    }
};

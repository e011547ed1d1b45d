// The two alternating samples of a report and the result that is computed from them.
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <new>
#include <vector>

// Samples 0 and 1 change places every pass: icur is filled, ipre holds the sample of the previous pass. `result` has
// the rates per second, changes or ranking computed from both. Capacity is kept from pass to pass, so a steady machine
// allocates nothing.
template <typename T, typename R = T> struct Slots {
    std::vector<T> sample[2];
    std::vector<R> result;
};

// Does `act`. False, with errno set, when there is no memory for it.
template <typename Act> bool enoughMemory(const Act& act) {
    try {
        act();
        return true;
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return false;
    }
}

// Makes room for `n` rows (or bytes of a string). False, with errno set, when there is no memory: the report then has
// no rows in this pass, and the run goes on. `least`: the smallest capacity.
template <typename Rows> bool makeRoom(Rows& rows, size_t n, size_t least = 16) {
    return n <= rows.capacity() || enoughMemory([&] { rows.reserve(std::max({n, rows.capacity() * 2, least})); });
}

// Adds a row at the end. Without memory for it all rows are dropped, and the result is null.
template <typename Row> Row* addRow(std::vector<Row>& rows) {
    if (makeRoom(rows, rows.size() + 1)) return &rows.emplace_back();
    rows.clear();
    return nullptr;
}

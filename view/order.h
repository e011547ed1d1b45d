// What the rows of a table can be sorted by, most first.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

template <typename Row> struct Order {
    std::string_view word; // of --sort
    double (*of)(const Row& row);
};

// The one that the word asks for; null: it asks for none of them.
template <typename Row, size_t N> const Order<Row>* findOrder(const Order<Row> (&orders)[N], std::string_view word) {
    const auto* found =
        std::find_if(std::begin(orders), std::end(orders), [&](auto& order) { return order.word == word; });
    return found == std::end(orders) ? nullptr : found;
}

// The same; a word that asks for none of them gets the first one, which is the usual one.
template <typename Row, size_t N> const Order<Row>& orderOf(const Order<Row> (&orders)[N], std::string_view word) {
    const auto* found = findOrder(orders, word);
    return found ? *found : orders[0];
}

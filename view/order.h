// What the rows of a table can be sorted by, most first.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <span>
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

// The words of a table's orders, the usual one first.
template <const auto& Orders> std::span<const std::string_view> wordsOf() {
    static constexpr auto Words = [] {
        std::array<std::string_view, std::size(Orders)> words;
        for (size_t i = 0; i < words.size(); i++) words[i] = Orders[i].word;
        return words;
    }();
    return Words;
}

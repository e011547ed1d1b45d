#include "base/order.h"

#include <functional>
#include <random>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

using Row = std::pair<int, int>; // a key and the original position of the row
using Rows = std::vector<Row>;
using Compare = std::function<int(const Row&, const Row&)>;

// A merge sort written to be easy to read. The first half has n/2 rows; the left row goes first unless it is greater.
static Rows plainSort(const Rows& rows, const Compare& compare) {
    if (rows.size() < 2) return rows;
    const auto middle = rows.begin() + static_cast<std::ptrdiff_t>(rows.size() / 2);
    Rows left = plainSort(Rows(rows.begin(), middle), compare), right = plainSort(Rows(middle, rows.end()), compare);
    Rows result;
    size_t l = 0, r = 0;
    while (l < left.size() || r < right.size())
        if (r == right.size() || (l < left.size() && compare(left[l], right[r]) <= 0)) result.push_back(left[l++]);
        else result.push_back(right[r++]);
    return result;
}

static Rows randomRows(std::mt19937& random, size_t count, unsigned keys) {
    Rows rows;
    for (size_t i = 0; i < count; i++) rows.emplace_back(static_cast<int>(random() % keys), static_cast<int>(i));
    return rows;
}

static void expectPlainOrder(const Compare& compare, unsigned keys) {
    std::mt19937 random(3);
    std::vector<Row> spare; // kept from one sort to the next, as a report keeps it
    for (size_t count = 0; count < 70; count++)
        for (int round = 0; round < 20; round++) {
            Rows rows = randomRows(random, count, keys);
            const Rows expected = plainSort(rows, compare);
            mergeSort(rows, spare, compare);
            ASSERT_EQ(rows, expected) << count;
        }
}

TEST(Order, SortsLikeAPlainMergeSort) {
    expectPlainOrder([](const Row& a, const Row& b) { return a.first - b.first; }, 1000);
}

TEST(Order, EqualRowsKeepTheirOrder) {
    expectPlainOrder([](const Row& a, const Row& b) { return a.first - b.first; }, 3);
    Rows rows = {{1, 0}, {0, 1}, {1, 2}, {0, 3}, {1, 4}};
    std::vector<Row> spare;
    mergeSort(rows, spare, [](const Row& a, const Row& b) { return a.first - b.first; });
    EXPECT_EQ(rows, (Rows{{0, 1}, {0, 3}, {1, 0}, {1, 2}, {1, 4}}));
}

// Comparisons that are no strict order: the result is still that of a merge sort.
TEST(Order, ContradictionsAreDefined) {
    expectPlainOrder([](const Row&, const Row&) { return 1; }, 10);
    expectPlainOrder([](const Row&, const Row&) { return -1; }, 10);
    expectPlainOrder([](const Row& a, const Row& b) { return a.first > b.first ? 1 : 0; }, 10);
    expectPlainOrder([](const Row& a, const Row& b) { return (a.first + 3 - b.first) % 3 - 1; }, 3); // a circle
    expectPlainOrder([](const Row& a, const Row& b) { return a.first == b.first ? 1 : b.first - a.first; }, 4);
}

TEST(Order, MovesWhatItSorts) {
    std::vector<std::vector<int>> rows = {{3, 3, 3}, {1}, {2, 2}}, spare;
    mergeSort(rows, spare, [](const auto& a, const auto& b) { return a[0] - b[0]; });
    EXPECT_EQ(rows, (std::vector<std::vector<int>>{{1}, {2, 2}, {3, 3, 3}}));
}

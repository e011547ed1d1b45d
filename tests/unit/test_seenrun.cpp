// Which intervals of a run were counted.
#include "wyrtlog/seenrun.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <random>
#include <vector>

#include <gtest/gtest.h>

TEST(SeenRun, AnyOrder) {
    std::vector<uint64_t> numbers(300);
    std::iota(numbers.begin(), numbers.end(), 0U);
    for (unsigned seed = 0; seed < 20; seed++) {
        auto order = numbers;
        std::mt19937 random(seed);
        for (size_t i = 0; i + 10 <= order.size(); i += 10) // as far from their place as the spans go
            std::shuffle(order.begin() + static_cast<std::ptrdiff_t>(i),
                         order.begin() + static_cast<std::ptrdiff_t>(i) + 10, random);
        SeenRun run;
        for (const auto number : order) {
            EXPECT_FALSE(run.has(number, 5)) << number << ", seed " << seed;
            run.add(number, 5);
            EXPECT_TRUE(run.has(number, 5)) << number;
            EXPECT_FALSE(run.has(number, 6)) << number;
        }
        ASSERT_EQ(run.numbers.size(), 1U) << seed;
        EXPECT_EQ(run.numbers[0].first, 0U);
        EXPECT_EQ(run.numbers[0].last, 299U);
    }
}

TEST(SeenRun, GapsWithoutEnd) {
    SeenRun run;
    for (uint64_t number = 0; number < 1000; number += 2) run.add(number, 5);
    EXPECT_EQ(run.numbers.size(), SeenRun::MostSpans);
    EXPECT_TRUE(run.has(1, 5));
    EXPECT_FALSE(run.has(997, 5));
    run.add(UINT64_MAX, 5), run.add(UINT64_MAX - 1, 5);
    EXPECT_TRUE(run.has(UINT64_MAX, 5));
}

#include "wyrt/grid.h"

#include <random>

#include <gtest/gtest.h>

TEST(Grid, TheNthSampleIsAtStartPlusNIntervals) {
    Grid grid(1000, 50);
    EXPECT_EQ(grid.due(), 1050);
    EXPECT_EQ(grid.lateness(1049), 0U);
    EXPECT_EQ(grid.lateness(1062), 12U);
    EXPECT_EQ(grid.advance(1062), 0U);
    EXPECT_EQ(grid.due(), 1100);
    EXPECT_EQ(grid.advance(1199), 0U + 1); // the one of 1150 has passed
    EXPECT_EQ(grid.due(), 1200);
    EXPECT_EQ(grid.advance(1250), 1U); // exactly on a time: it has passed
    EXPECT_EQ(grid.due(), 1300);
}

// Made-up clock, delays of every size: whatever happens, samples stand on the grid, time never goes back, and the
// samples taken and those left out together are all that were due.
TEST(Grid, TenThousandSamplesDoNotDrift) {
    std::mt19937 random(20261121);
    constexpr int64_t Start = 123456789, Interval = 50000;
    Grid grid(Start, Interval);
    int64_t now = Start, before = Start;
    uint64_t skipped = 0;
    for (uint64_t taken = 1; taken <= 10000; taken++) {
        ASSERT_GT(grid.due(), now);
        ASSERT_LE(grid.due(), now + Interval); // no later than the next point of the grid
        ASSERT_EQ((grid.due() - Start) % Interval, 0);
        now = grid.due();
        const auto magnitude = random() % 22; // oversleeps by 0 to 2 s, works for as long again
        now += static_cast<int64_t>(random() % (1U << magnitude));
        ASSERT_GT(now, before);
        before = now;
        ASSERT_EQ(grid.lateness(now), static_cast<uint64_t>(now - grid.due()));
        now += static_cast<int64_t>(random() % (1U << magnitude));
        skipped += grid.advance(now);
        ASSERT_EQ((grid.due() - Start) / Interval, static_cast<int64_t>(taken + skipped + 1));
    }
    EXPECT_GT(skipped, 0U);
}

TEST(Grid, AfterADayWithoutASampleThereIsNoBurst) {
    constexpr int64_t Day = 86400000000, Interval = 2000000;
    Grid grid(0, Interval);
    EXPECT_EQ(grid.advance(Day + 1), static_cast<uint64_t>(Day / Interval) - 1);
    EXPECT_EQ(grid.due(), Day + Interval);
    EXPECT_EQ(grid.advance(Day), 0U); // a clock that went back: the grid does not
    EXPECT_EQ(grid.due(), Day + 2 * Interval);
    EXPECT_EQ(grid.lateness(-5), 0U);
}

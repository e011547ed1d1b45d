#include "monitor/loop.h"

#include <gtest/gtest.h>

// The work's seconds times (100 / percent - 1).
TEST(Loop, RatioPause) {
    EXPECT_EQ(getRatioPause(0.5, 50), 500000U);
    EXPECT_EQ(getRatioPause(0.25, 20), 1000000U);
    EXPECT_EQ(getRatioPause(2.0, 80), 500000U);
    EXPECT_EQ(getRatioPause(0.125, 1), 10000000U); // 12.375 s
}

TEST(Loop, RatioPauseHasAFloor) {
    EXPECT_EQ(getRatioPause(0.0, 50), 100000U);
    EXPECT_EQ(getRatioPause(0.01, 50), 100000U);
    EXPECT_EQ(getRatioPause(0.0999995, 50), 100000U); // 99999 microseconds
    EXPECT_EQ(getRatioPause(0.1000015, 50), 100001U);
    EXPECT_EQ(getRatioPause(1.0, 100), 100000U); // no pause at all would do
}

TEST(Loop, RatioPauseHasACeiling) {
    EXPECT_EQ(getRatioPause(9.999999, 50), 9999999U);
    EXPECT_EQ(getRatioPause(10.0, 50), 10000000U);
    EXPECT_EQ(getRatioPause(10.0000015, 50), 10000000U);
    EXPECT_EQ(getRatioPause(100.0, 50), 10000000U);
}

// A negative pause is a huge one: more than all of the time, or a clock that was set back.
TEST(Loop, NegativePauseIsTheLongest) {
    EXPECT_EQ(getRatioPause(0.5, 200), 10000000U);
    EXPECT_EQ(getRatioPause(0.00001, 101), 100000U); // not a whole microsecond: 0
    EXPECT_EQ(getRatioPause(0.001, 101), 10000000U);
    EXPECT_EQ(getRatioPause(-5.0, 50), 10000000U);
}

// Its low 32 bits are what counts.
TEST(Loop, PauseWrapsIn32Bits) {
    EXPECT_EQ(getRatioPause(4294.967296, 50), 100000U);
    EXPECT_EQ(getRatioPause(4295.467296, 50), 500000U);
    EXPECT_EQ(getRatioPause(1e300, 50), 100000U); // does not fit into 64 bits: the lowest number, whose low bits are 0
}

#include "wyrt/screen.h"

#include <gtest/gtest.h>

TEST(Redrawn, EachLineOverwritesTheOneBefore) {
    EXPECT_EQ(redrawn("one\ntwo\n", 10), "\033[Hone\033[K\ntwo\033[K\n\033[J");
    EXPECT_EQ(redrawn("one\n\nthree", 10), "\033[Hone\033[K\n\033[K\nthree\033[K\n\033[J");
    EXPECT_EQ(redrawn("", 10), "\033[H\033[J");
}

TEST(Redrawn, WhatFindsNoRoomIsLeftOut) {
    EXPECT_EQ(redrawn("one\ntwo\nthree\n", 2), "\033[Hone\033[K\ntwo\033[K\n\033[J");
    EXPECT_EQ(redrawn("one\n", 0), "\033[H\033[J");
}

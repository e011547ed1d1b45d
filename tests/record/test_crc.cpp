#include "record/crc.h"

#include <gtest/gtest.h>

#include <random>

TEST(Crc, KnownSums) {
    EXPECT_EQ(crc32c("123456789"), 0xE3069283U);
    EXPECT_EQ(crc32c(""), 0U);
    std::mt19937 random(1);
    std::string bytes;
    for (int i = 0; i < 1000; i++) {
        EXPECT_EQ(crc32c(bytes), crc32cByTable(bytes));
        const auto cut = bytes.size() ? random() % bytes.size() : 0;
        EXPECT_EQ(crc32c(bytes.substr(cut), crc32c(bytes.substr(0, cut))), crc32c(bytes));
        bytes += static_cast<char>(random());
    }
}

#include "base/duration.h"

#include <gtest/gtest.h>

TEST(Duration, AsPeopleWriteIt) {
    struct Case {
        const char* text;
        std::optional<int64_t> microseconds;
    };
    constexpr int64_t S = 1000000;
    const Case cases[] = {
        {"2", 2 * S},
        {"2s", 2 * S},
        {"500ms", S / 2},
        {"1m", 60 * S},
        {"1.5m", 90 * S},
        {"0.5", S / 2},
        {"1h", 3600 * S},
        {"2d", 172800 * S},
        {"250us", 250},
        {"0", 0},
        {"0.0s", 0},
        {"007", 7 * S},
        {"1000d", 86400000 * S},
        {"1.000001", 1000001},
        {"1.0000019", 1000001},
        {"0.1ms", 100},
        {"0.3d", 25920 * S},
        {"", {}},
        {"s", {}},
        {"ms", {}},
        {".5", {}},
        {"1.", {}},
        {"1.s", {}},
        {"-1", {}},
        {"+1", {}},
        {" 1", {}},
        {"1 s", {}},
        {"1S", {}},
        {"1sec", {}},
        {"1e3", {}},
        {"0x10", {}},
        {"1,5", {}},
        {"0.0001ms", {}},
        {"0.0000001", {}},
        {"1001d", {}},
        {"1000.1d", {}},
        {"99999999999999999999s", {}},
        {"1000000000000000d", {}},
        {"nan", {}},
        {"inf", {}},
    };
    for (const auto& c : cases) EXPECT_EQ(parseDuration(c.text), c.microseconds) << c.text;
}

TEST(Duration, InItsLargestWholeUnit) {
    for (const char* text : {"0s", "1us", "999us", "500ms", "1s", "90s", "2m", "1h", "25h", "3d"})
        EXPECT_EQ(durationText(*parseDuration(text)), text);
}

TEST(Count, DigitsOnly) {
    EXPECT_EQ(parseCount("0"), 0U);
    EXPECT_EQ(parseCount("0000000000000000000000005"), 5U);
    EXPECT_EQ(parseCount("999999999999999"), 999999999999999U);
    for (const char* text : {"", "-1", "+1", " 1", "1 ", "1k", "1000000000000000", "99999999999999999999999"})
        EXPECT_FALSE(parseCount(text)) << text;
}

TEST(Size, StepsOf1024) {
    EXPECT_EQ(parseSize("0"), 0U);
    EXPECT_EQ(parseSize("812"), 812U);
    EXPECT_EQ(parseSize("64K"), 65536U);
    EXPECT_EQ(parseSize("500M"), 500U << 20);
    EXPECT_EQ(parseSize("2G"), uint64_t{2} << 30);
    EXPECT_EQ(parseSize("1T"), uint64_t{1} << 40);
    EXPECT_EQ(parseSize("900000T"), uint64_t{900000} << 40);
    for (const char* text : {"", "G", "-1", "1.5G", "2g", "2GB", " 2G", "2 G", "1000000T", "1000000000000000M", "x"})
        EXPECT_FALSE(parseSize(text)) << text;
}

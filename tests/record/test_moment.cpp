#include "record/moment.h"

#include <gtest/gtest.h>

TEST(Moments, BothWays) {
    for (const char* text :
         {"2026-11-21T14:05:10.000+01:00", "1970-01-01T00:00:00.000+00:00", "2024-02-29T23:59:59.999-09:30",
          "1969-12-31T23:59:59.001+00:00", "9999-12-31T23:59:59.999+14:00", "0000-03-01T00:00:00.000+00:00"}) {
        const auto moment = parseMoment(text);
        ASSERT_TRUE(moment) << text;
        std::string again;
        appendMoment(again, *moment);
        EXPECT_EQ(again, text);
    }
    EXPECT_EQ(parseMoment("2026-11-21T14:05:10.000+01:00")->epoch_ms, 1795266310000);
    for (const char* text : {"", "2026-11-21", "2026-13-21T14:05:10.000+01:00", "2026-11-21 14:05:10.000+01:00",
                             "2026-11-21T14:05:10.000+01:0x", "2026-11-21T14:05:10.000+01:000"})
        EXPECT_FALSE(parseMoment(text)) << text;
}

TEST(Seconds, BothWays) {
    for (const int64_t value : {int64_t{0}, int64_t{1}, int64_t{2000137}, int64_t{-5}, int64_t{999999999999999}}) {
        std::string text;
        appendSeconds(text, value);
        EXPECT_EQ(parseSeconds(text), value) << text;
    }
    for (const char* text : {"", "1", "1.5", ".000000", "x.000000", "1.00000x", "99999999999999.000000"})
        EXPECT_FALSE(parseSeconds(text)) << text;
}

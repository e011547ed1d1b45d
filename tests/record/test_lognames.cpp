// Names of a recorder's files.
#include "record/lognames.h"

#include <gtest/gtest.h>

static constexpr int64_t Time = 1795266000000; // 2026-11-21 13:00:00 UTC

TEST(LogNames, HostTimeAndCopy) {
    EXPECT_EQ(logName("db7", Time, 1), "db7-20261121T130000Z.wyrt");
    EXPECT_EQ(logName("db7", Time + 999, 1), "db7-20261121T130000Z.wyrt");
    EXPECT_EQ(logName("db7", Time + 1000, 2), "db7-20261121T130001Z_2.wyrt");
    EXPECT_EQ(logName("a.b-c_D9", 0, 1), "a.b-c_D9-19700101T000000Z.wyrt");
    EXPECT_EQ(logName("", Time, 1), "host-20261121T130000Z.wyrt");
    EXPECT_EQ(logName(".x", Time, 1), "host.x-20261121T130000Z.wyrt");
    EXPECT_EQ(logName("../a b\n\xff", Time, 1), "host.._a_b__-20261121T130000Z.wyrt");
    EXPECT_EQ(logName(std::string(300, 'x'), Time, 1).size(), 64 + 22U);
}

TEST(LogNames, LaterOnesFollow) {
    const std::string names[] = {logName("h", Time - 1000, 1), logName("h", Time, 1), logName("h", Time, 2),
                                 logName("h", Time + 1000, 1)};
    for (size_t i = 1; i < 4; i++) EXPECT_LT(names[i - 1], names[i]);
}

TEST(LogNames, TheTimeComesBack) {
    for (const char* host : {"db7", "a-b", "x.wyrt", "x-20200101T000000Z.wyrt", "x-20200101T000000Z.wyrt.", "Z_2", ""})
        for (const int64_t time : {int64_t{0}, Time, int64_t{4102444800000}})
            for (const int copy : {1, 2, 17}) {
                const auto name = logName(host, time, copy);
                EXPECT_EQ(logNameTime(name), time) << name;
                EXPECT_TRUE(isPlainLog(name));
                for (const char* end : {".zst", ".gz", "-new"}) {
                    EXPECT_EQ(logNameTime(name + end), time) << name;
                    EXPECT_FALSE(isPlainLog(name + end));
                }
            }
}

TEST(LogNames, OtherFilesAreNotItsOwn) {
    for (const char* name :
         {"", "current.wyrt", "current.wyrt-new", "day.wyrt", "default.log", "db7-20261121T130000Z", "x.wyrt.zst",
          "-20261121T130000Z.wyrt", "20261121T130000Z.wyrt", "db7-20261121T1300Z.wyrt", "db7-20261121t130000Z.wyrt",
          "db7-2026112aT130000Z.wyrt", "db7-20261321T130000Z.wyrt", "db7-20261121T130000Z.wyrtx",
          "db7-20261121T130000Z.wyrt-old", "db7-20261121T130000Z_.wyrt", "db7-20261121T130000Z_x.wyrt",
          "db7-20261121T130000Z.log", "db7_20261121T130000Z.wyrt"})
        EXPECT_FALSE(logNameTime(name)) << name;
}

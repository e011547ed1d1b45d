#include "model/host.h"
#include "parse/numberlist.h"

#include <gtest/gtest.h>

TEST(Host, ListsOfNumbersAreCounted) {
    EXPECT_EQ(countOfList("0\n"), 1U);
    EXPECT_EQ(countOfList("0-3,8,10-11\n"), 7U);
    for (const char* text : {"", "\n", "x", "3-1", "1-", "1,,2", "1;2", "1,x"}) EXPECT_FALSE(countOfList(text)) << text;
}

TEST(HostModel, TimeAsleepIsWhatTheTwoClocksDifferBy) {
    HostSample before, now;
    before.at_us = 1000000, before.boottime_us = 5000000;
    now.at_us = 3000000, now.boottime_us = 3607000000;
    now.host = {"db7", "6.1.0", "x86_64"}, now.cpus = 16;
    Rows<HostRow> rows;
    hostRows(&before, now, rows);
    ASSERT_EQ(rows.rows.size(), 1U);
    EXPECT_EQ(rows.elapsed_us, 2000000);
    EXPECT_EQ(rows.rows[0].asleep_us, 3600000000U);
    EXPECT_EQ(rows.rows[0].cpus, 16U);
    EXPECT_FALSE(rows.rows[0].memory);
    now.boottime_us = 7000100; // the clocks are read one after the other
    rows.clear();
    hostRows(&before, now, rows);
    EXPECT_EQ(rows.rows[0].asleep_us, 0U);
    rows.clear();
    hostRows(nullptr, now, rows);
    EXPECT_FALSE(rows.rows[0].asleep_us);
}

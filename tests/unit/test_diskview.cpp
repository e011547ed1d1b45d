#include "view/disk.h"

#include <gtest/gtest.h>

// Read from a log, an interval without a row of a disk knows the elapsed time of their sum alone.
TEST(DiskView, TheSumHasAnElapsedTimeOfItsOwn) {
    Interval interval;
    interval.disksTotal.sampled = true;
    interval.disksTotal.elapsed_us = 2000000;
    auto& all = interval.disksTotal.rows.emplace_back();
    all.disks = 3;
    all.idle = 2;
    all.reads = 8;
    Page page(0, false);
    showDisks(interval, {LogHead{}, ViewRow{}}, page);
    EXPECT_NE(page.text().find("\nall 3             4"), std::string::npos) << page.text();
}

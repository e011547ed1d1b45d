// What a recorder keeps, and when it begins a file.
#include "wyrt/heads.h"
#include "wyrt/retention.h"

#include <gtest/gtest.h>

static constexpr int64_t Now = 1795266000000, Hour = 3600000, Day = 24 * Hour; // milliseconds
static constexpr uint64_t Block = 4096;

TEST(Retention, RoomIsWholeBlocks) {
    EXPECT_EQ(roomOf(0), 0U);
    EXPECT_EQ(roomOf(1), Block);
    EXPECT_EQ(roomOf(Block), Block);
    EXPECT_EQ(roomOf(Block + 1), 2 * Block);
}

static std::string namesOf(const std::vector<KeptFile>& files) {
    std::string names;
    for (const auto& file : files) names += file.name;
    return names;
}

// c has the name of a day to come: the clock was wrong when it was written.
TEST(Retention, TheOldestComeFirst) {
    std::vector<KeptFile> files{{"b", Now - Hour, 1}, {"d", Now + Hour, 1},   {"a", Now - Day, 1},
                                {"f", Now + Day, 1},  {"e", Now + Hour, 1},   {"c", Now + 400 * Day, 1},
                                {"z", Now - Hour, 1}, {"g", Now + 2 * Day, 1}};
    sortByAge(files, Now);
    EXPECT_EQ(namesOf(files), "gcabzdef");
    sortByAge(files, Now + 500 * Day);
    EXPECT_EQ(namesOf(files), "abzdefgc");
}

TEST(Retention, AFileIsOldWithItsLastHour) {
    KeepLimits limits;
    EXPECT_FALSE(isOutdated({"a", 0, 1}, limits, Now));
    limits.max_age_ms = 14 * Day;
    EXPECT_FALSE(isOutdated({"a", Now, 1}, limits, Now));
    EXPECT_FALSE(isOutdated({"a", Now - 14 * Day, 1}, limits, Now));
    EXPECT_FALSE(isOutdated({"a", Now - 14 * Day - Hour, 1}, limits, Now));
    EXPECT_TRUE(isOutdated({"a", Now - 14 * Day - Hour - 1, 1}, limits, Now));
    EXPECT_FALSE(isOutdated({"a", Now + 400 * Day, 1}, limits, Now));
}

TEST(Retention, BothLimitsHold) {
    KeepLimits limits{100 * Block, 10 * Block, {}};
    EXPECT_TRUE(fits(limits, {99 * Block, 11 * Block, Block}));
    EXPECT_FALSE(fits(limits, {99 * Block, 11 * Block, Block + 1}));
    EXPECT_FALSE(fits(limits, {100 * Block, 50 * Block, 1}));
    EXPECT_FALSE(fits(limits, {0, 9 * Block, 0}));
    EXPECT_TRUE(fits({}, {uint64_t{1} << 60, 5, 5}));
    EXPECT_FALSE(fits({}, {0, 4, 5}));
}

TEST(Retention, AsManyGoAsMust) {
    const std::vector<KeptFile> files{{"a", 0, Block}, {"b", 1, 2 * Block - 1}, {"c", 2, 10 * Block}};
    const KeepLimits limits{20 * Block, 5 * Block, {}};
    const auto many = [&](uint64_t used, uint64_t free, uint64_t needed) {
        return tooMany(files, limits, {used * Block, free * Block, needed * Block});
    };
    EXPECT_EQ(many(13, 50, 7), 0U);
    EXPECT_EQ(many(13, 50, 8), 1U);
    EXPECT_EQ(many(13, 50, 9), 2U);
    EXPECT_EQ(many(13, 50, 11), 3U);
    EXPECT_EQ(many(13, 50, 30), 3U); // it never fits
    EXPECT_EQ(many(13, 5, 1), 1U);
    EXPECT_EQ(many(13, 3, 1), 2U);
    EXPECT_EQ(many(13, 0, 1), 3U);
    EXPECT_EQ(tooMany({}, limits, {30 * Block, 0, 1}), 0U);
}

// --- The clock

TEST(TrustedClock, AnHourAfterItWasSet) {
    TrustedClock clock;
    constexpr int64_t Start = 5000, Year = 365 * Day;
    EXPECT_TRUE(clock.isTrusted(Now, Start));
    EXPECT_TRUE(clock.isTrusted(Now + Hour, Start + Hour));
    EXPECT_TRUE(clock.isTrusted(Now + 2 * Hour + 50000, Start + 2 * Hour)); // a small correction
    EXPECT_FALSE(clock.isTrusted(Now + Year + 3 * Hour, Start + 3 * Hour));
    EXPECT_FALSE(clock.isTrusted(Now + Year + 4 * Hour - 1, Start + 4 * Hour - 1));
    EXPECT_TRUE(clock.isTrusted(Now + 4 * Hour, Start + 4 * Hour)); // put right
    EXPECT_FALSE(clock.isTrusted(Now - Year, Start + 5 * Hour));
    EXPECT_FALSE(clock.isTrusted(Now - 2 * Year, Start + 6 * Hour)); // set again: another hour
    EXPECT_FALSE(clock.isTrusted(Now - 2 * Year + Hour - 1, Start + 7 * Hour - 1));
    EXPECT_TRUE(clock.isTrusted(Now - 2 * Year + Hour, Start + 7 * Hour));
    EXPECT_FALSE(clock.isTrusted(Now, Start + 8 * Hour));
}

// --- Heads

TEST(Heads, AFileHasOneAndAnotherWhenTheClockGoesBack) {
    Heads heads(false, 0);
    EXPECT_TRUE(heads.isDue(Now));
    heads.put(Now, 1000, true);
    EXPECT_FALSE(heads.isDue(Now));
    heads.put(Now + 5 * Hour, uint64_t{1} << 40, false);
    EXPECT_FALSE(heads.isDue(Now + 5 * Hour));
    EXPECT_FALSE(heads.isDue(Now + 50 * Hour));
    EXPECT_TRUE(heads.isDue(Now + 5 * Hour - 1));
}

TEST(Heads, AFolderHasOneAnHour) {
    Heads heads(true, 0);
    heads.put(Now, 1000, true);
    EXPECT_FALSE(heads.isDue(Now + Hour - 1));
    EXPECT_TRUE(heads.isDue(Now + Hour));
    EXPECT_TRUE(heads.isDue(Now + 24 * Hour));
    EXPECT_TRUE(heads.isDue(Now - 1));
    Heads early(true, 0);
    early.put(-1, 1000, true); // before 1970
    EXPECT_FALSE(early.isDue(-1));
    EXPECT_TRUE(early.isDue(0));
}

// Returns how many bytes a file gets when intervals of `size` follow a first one.
static uint64_t sizeOfFile(uint64_t max_use, uint64_t first, uint64_t size) {
    Heads heads(true, max_use);
    heads.put(Now, first, true);
    uint64_t bytes = first;
    for (; !heads.isDue(Now); bytes += size) heads.put(Now, size, false);
    return bytes;
}

TEST(Heads, AFileIsNotLargerThanSoMuch) {
    constexpr uint64_t MiB = 1 << 20;
    for (const uint64_t max_use : {uint64_t{0}, 2048 * MiB, 512 * MiB}) {
        EXPECT_LE(sizeOfFile(max_use, 2 * MiB, MiB), 64 * MiB);
        EXPECT_GT(sizeOfFile(max_use, 2 * MiB, MiB), 62 * MiB);
    }
    EXPECT_LE(sizeOfFile(64 * MiB, MiB, MiB / 10), 8 * MiB);
    EXPECT_GT(sizeOfFile(64 * MiB, MiB, MiB / 10), 7 * MiB);
    EXPECT_LE(sizeOfFile(16 * MiB, 2 * MiB, MiB / 10), 8 * MiB); // four times the first interval
    EXPECT_GT(sizeOfFile(16 * MiB, 2 * MiB, MiB / 10), 7 * MiB);
    EXPECT_LE(sizeOfFile(4 * MiB, MiB, MiB / 10), 2 * MiB); // half of everything
}

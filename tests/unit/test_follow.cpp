// Who follows logs waits for files that nobody knew.
#include "record/lognames.h"
#include "tests/unit/made.h"
#include "wyrtlog/follow.h"

// A recorder makes files for ever. Those that are gone take no memory; those that are there are new once.
TEST(Follow, OnlyFilesThatAreThereAreRemembered) {
    Made machine("dir /logs\ntext /logs/db7-20261121T130000Z.wyrt \"\"\nstep 4000\n");
    const std::vector<std::string> operands{"/logs"};
    Follower follower(operands, nullptr);
    int status = 0;
    follower.know(logPaths(operands, status));
    constexpr int64_t Start = 1795266310000, HourMs = 3600000;
    constexpr uint64_t Files = 10 * Follower::Turn;
    for (uint64_t i = 0; i < Files; i++) {
        const auto path = "/logs/" + logName("db7", Start + static_cast<int64_t>(i) * HourMs, 1);
        machine.world.append(path, "");
        ASSERT_TRUE(follower.wait());
        ASSERT_TRUE(follower.hasNew());
        const auto found = follower.takeNew();
        ASSERT_EQ(found.size(), 1U) << i;
        ASSERT_EQ(found[0].path, path);
        machine.world.remove(path);
        EXPECT_LE(follower.remembered(), 2 * Follower::Turn + 2);
    }
    machine.world.remove("/logs/db7-20261121T130000Z.wyrt");
    ASSERT_TRUE(follower.wait()); // while it is compressed, it may be seen under neither name
    machine.world.append("/logs/db7-20261121T130000Z.wyrt.zst", "");
    ASSERT_TRUE(follower.wait());
    EXPECT_FALSE(follower.hasNew());
}

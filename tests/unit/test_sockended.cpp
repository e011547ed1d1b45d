// Reports of ended sockets, of which more can come in an interval than find room.
#include "sample/sock.h"

#include "base/clock.h"
#include "tests/unit/made.h"

#include <gtest/gtest.h>

static std::string segments(uint64_t count) {
    return "file /proc/net/snmp <<E\nTcp: InSegs OutSegs\nTcp: " + std::to_string(count) + " 0\nE\n";
}

// Reports of so many connections that nobody has seen; their cookies follow `first`.
static std::string ended(unsigned first, unsigned count) {
    std::string lines = "notice sockdiag ended <<E\n";
    for (unsigned i = 1; i <= count; i++)
        lines += "socket 10.0.0.1:80 192.0.2.1:" + std::to_string(1 + i % 60000) +
                 " state=CLOSE cookie=" + std::to_string(first + i) + " received=10 in=1\n";
    return lines + "E\n";
}

namespace {
struct Sampled {
    Helper helper;
    SockSampler sampler{Root(), helper};
    SockSample sample;
    void pass() { sampler.sample({}, {}, sample); }
    const SockSpace& own() const { return sample.spaces[0]; }
    // Microseconds until the next look between two passes.
    int64_t next() const { return sampler.nextLook() - getMonotonic(); }
};
} // namespace

static constexpr int64_t Latest = 2000000;
// A quarter of the room that the made-up machine gives.
static constexpr unsigned Quarter = (64 << 20) / 1280 / 4;
static const std::string Machine =
    segments(1) + "netlink sockdiag tcp4 <<E\nsocket 0.0.0.0:80 0.0.0.0:0 state=LISTEN cookie=1\nE\n";

TEST(EndedSockets, FewWaitForSeconds) {
    constexpr unsigned Few = Quarter / 2;
    Made made(Machine + "step 1\n" + segments(1 + Few) + ended(100, Few));
    Sampled sampled;
    sampled.pass();
    EXPECT_EQ(sampled.next(), Latest);
    made.step();
    sampled.pass();
    EXPECT_EQ(sampled.own().ended, Few);
    EXPECT_EQ(sampled.own().explained, Few);
    EXPECT_EQ(sampled.next(), Latest);
}

TEST(EndedSockets, ManyAreTakenBetweenThePasses) {
    Made made(Machine + "step 1\n" + segments(1 + 2 * Quarter) + ended(100, 2 * Quarter) + "step 2\n" +
              ended(50000, Quarter) + "step 3\n" + segments(1 + 4 * Quarter) + ended(70000, Quarter) + "step 4\n" +
              segments(2 + 4 * Quarter) + ended(90000, 1));
    Sampled sampled;
    sampled.pass();
    made.step();
    sampled.pass();
    EXPECT_EQ(sampled.own().ended, 2 * Quarter);
    EXPECT_EQ(sampled.next(), 500000); // when a quarter of the room is used: half of what came in a second
    made.step();
    sampled.sampler.look();
    EXPECT_EQ(sampled.next(), 500000);
    EXPECT_EQ(sampled.own().ended, 2 * Quarter); // the sample does not change between two passes
    made.step();
    sampled.pass();
    EXPECT_EQ(sampled.own().ended, 2 * Quarter);
    EXPECT_EQ(sampled.own().received, uint64_t{20} * Quarter);
    EXPECT_EQ(sampled.sample.ended.size(), 2 * Quarter);
    EXPECT_EQ(sampled.next(), 1000000); // as many in two seconds
    made.step();
    sampled.pass();
    EXPECT_EQ(sampled.own().ended, 1U);
    EXPECT_EQ(sampled.next(), Latest);
}

TEST(EndedSockets, AfterALossItLooksMoreOften) {
    Made made(Machine + "step 1\noverrun sockdiag\n" + segments(2) + "step 2\noverrun sockdiag\n" + segments(3) +
              "step 3\n" + segments(4));
    Sampled sampled;
    sampled.pass();
    made.step();
    sampled.pass();
    EXPECT_EQ(sampled.own().lost, 1U);
    EXPECT_EQ(sampled.next(), 125000);
    made.step();
    sampled.pass();
    EXPECT_EQ(sampled.own().lost, 1U);
    EXPECT_EQ(sampled.next(), 62500);
    made.step();
    sampled.pass();
    EXPECT_EQ(sampled.own().lost, 0U);
    EXPECT_EQ(sampled.next(), Latest);
}

// An interval of minutes on a busy machine does not fill the memory.
TEST(EndedSockets, MoreThanAreKeptAreLost) {
    constexpr unsigned Each = 100000;
    std::string world = Machine;
    for (unsigned i = 1; i <= 3; i++) world += "step " + std::to_string(i) + "\n" + ended(100 + i * Each, Each);
    Made made(world + "step 4\n" + segments(2) + "step 5\n" + segments(3) + ended(10, 1));
    Sampled sampled;
    sampled.pass();
    for (int i = 0; i < 3; i++) made.step(), sampled.sampler.look();
    made.step();
    sampled.pass();
    EXPECT_EQ(sampled.own().ended, SockSampler::MostReports);
    EXPECT_EQ(sampled.own().lost, 1U);
    made.step();
    sampled.pass();
    EXPECT_EQ(sampled.own().ended, 1U);
    EXPECT_EQ(sampled.own().lost, 0U);
}

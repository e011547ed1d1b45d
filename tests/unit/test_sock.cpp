// What the sampler of sockets asks for, and what it makes of the answers.
#include "tests/unit/sockmade.h"

#include <map>

#include <gtest/gtest.h>

static std::string descriptors(unsigned pid, unsigned first, unsigned count) {
    std::string lines;
    for (unsigned i = 0; i < count; i++)
        lines += "link /proc/" + std::to_string(pid) + "/fd/" + std::to_string(i + 3) + " socket:[" +
                 std::to_string(first + i + 100) + "]\n";
    return lines;
}

static const Ran First{11, 7, 1, true, false, 'S'}, Second{12, 7, 1, true, false, 'S'};
static const Ran FirstAgain{11, 7, 1, false, false, 'S'}, SecondAgain{12, 7, 1, false, false, 'S'};

TEST(SockSampler, NothingIsAskedForWhileTheCountersStandStill) {
    Made made(snmp(0, 0) + sockets(120, 120, 0) + descriptors(11, 0, 100) + descriptors(12, 100, 20) + "step 1\n" +
              sockets(120, 0, 5));
    Sampled sampled;
    sampled.pass({First, Second});
    EXPECT_TRUE(sampled.own().listed);
    EXPECT_EQ(sampled.sample.table.size(), 120U);
    EXPECT_TRUE(sampled.sample.changes.empty());
    made.step();
    sampled.pass({FirstAgain, SecondAgain}); // what the kernel would answer has changed, but its counters have not
    EXPECT_FALSE(sampled.own().listed);
    EXPECT_EQ(sampled.own().asked, 0U);
    EXPECT_TRUE(sampled.sample.changes.empty());
}

TEST(SockSampler, TheSocketsOfWhoRanSufficeWhenTheyExplainAllSegments) {
    Made made(snmp(1, 1) + sockets(120, 120, 0) + descriptors(11, 0, 110) + descriptors(12, 110, 10) + "step 1\n" +
              snmp(11, 11) + sockets(120, 118, 5) + "step 2\n" + snmp(13, 13) + sockets(120, 118, 6) + "step 3\n" +
              snmp(100, 100) + sockets(120, 60, 7));
    Sampled sampled;
    sampled.pass({First, Second});
    made.step();
    sampled.pass({SecondAgain});
    EXPECT_FALSE(sampled.own().listed);
    EXPECT_EQ(sampled.own().asked, 10U); // those of the process that ran
    ASSERT_EQ(sampled.sample.changes.size(), 2U);
    EXPECT_EQ(sampled.own().explained, 20U);
    EXPECT_EQ(sampled.own().received, 100U);
    EXPECT_EQ(sampled.sample.table.slots[sampled.sample.changes[0].socket].owner, 12U);
    made.step();
    sampled.pass({}); // nobody ran: those that moved before are asked for
    EXPECT_FALSE(sampled.own().listed);
    EXPECT_EQ(sampled.own().asked, 2U);
    EXPECT_EQ(sampled.sample.changes.size(), 2U);
    made.step();
    sampled.pass({SecondAgain}); // sockets of the other one moved, too
    EXPECT_TRUE(sampled.own().listed);
    EXPECT_EQ(sampled.sample.changes.size(), 60U);
}

TEST(SockSampler, AnOwnerThatInheritedIsFound) {
    Made made(snmp(1, 1) + sockets(30, 30, 0) + descriptors(11, 0, 30) + "dir /proc/12/fd\nstep 1\n" + snmp(2, 2) +
              sockets(30, 29, 1) + "gone /proc/11/fd/32\nlink /proc/12/fd/9 socket:[129]\nstep 2\n" +
              "link /proc/11/fd/7 socket:[129]\n" + snmp(4, 4) + sockets(30, 29, 3));
    Sampled sampled;
    sampled.pass({First, Second});
    made.step();
    sampled.pass({SecondAgain}); // it got the descriptor over a socket and sent something
    ASSERT_EQ(sampled.sample.changes.size(), 1U);
    const auto& socket = sampled.sample.table.slots[sampled.sample.changes[0].socket];
    EXPECT_EQ(socket.owner, 12U);
    made.step();
    sampled.pass({FirstAgain, SecondAgain});
    EXPECT_EQ(socket.owner, 12U);
}

// All 50 random machines: what the rows and their rest add up to is what moved, whichever way it was found out.
TEST(SockRows, SumsAreExactOnRandomMachines) {
    for (unsigned seed = 1; seed <= 50; seed++) {
        std::srand(seed);
        const unsigned count = 1 + static_cast<unsigned>(std::rand()) % 900;
        const unsigned first = static_cast<unsigned>(std::rand()) % count;
        const unsigned segments = 1 + static_cast<unsigned>(std::rand()) % 50;
        const uint64_t moved = uint64_t{count - first} * segments;
        Made made(snmp(3, 3) + sockets(count, count, 0) + descriptors(11, 0, count) + "step 1\n" +
                  snmp(3 + moved, 3 + moved) + sockets(count, first, segments));
        Sampled sampled;
        sampled.pass({First});
        made.step();
        sampled.pass({FirstAgain});
        Interval interval;
        interval.processes.rows.emplace_back().pid = 11;
        sockRows(sampled.sample, ProcSample(), ViewRow(), interval);
        uint64_t received = 0, in = 0;
        const auto add = [&](const SockRow& row) {
            received += row.received.value_or(0), in += row.segments_in.value_or(0);
        };
        for (auto& row : interval.sockets.rows) add(row);
        if (interval.sockets.rest) add(*interval.sockets.rest);
        EXPECT_EQ(received, moved * 10) << "seed " << seed;
        EXPECT_EQ(in, moved) << "seed " << seed;
        EXPECT_LE(interval.sockets.rows.size(), 500U);
        ASSERT_EQ(interval.namespaces.rows.size(), 1U);
        EXPECT_EQ(interval.namespaces.rows[0].explained, 2 * moved) << "seed " << seed;
        EXPECT_EQ(interval.namespaces.rows[0].received, moved * 10) << "seed " << seed;
        EXPECT_EQ(interval.processes.rows[0].tcp_received, moved * 10) << "seed " << seed;
    }
}

// Each connection counts at one listener, and one that accepts has a row although nothing waits in its queue.
TEST(SockRows, ConnectionsThatBeginAtListeners) {
    const std::string listeners = "netlink sockdiag tcp4 <<E\n"
                                  "socket 10.0.0.1:80 0.0.0.0:0 state=LISTEN cookie=1 inode=11 wqueue=128\n"
                                  "socket 10.0.0.1:80 0.0.0.0:0 state=LISTEN cookie=2 inode=12 wqueue=128\n"
                                  "socket 0.0.0.0:80 0.0.0.0:0 state=LISTEN cookie=3 inode=13 wqueue=128\n"
                                  "socket 0.0.0.0:81 0.0.0.0:0 state=LISTEN cookie=4 inode=14 wqueue=128\n";
    std::string begun;
    unsigned cookie = 10;
    for (const char* here :
         {"10.0.0.1:80", "10.0.0.1:80", "10.0.0.1:80", "10.0.0.2:80", "10.0.0.2:80", "10.0.0.2:90"}) {
        const auto number = std::to_string(++cookie);
        begun += std::string("socket ") + here + " 10.1.1.1:" + number + " cookie=" + number + " inode=1" + number +
                 " received=10 in=2 out=1\n";
    }
    Made made(snmp(3, 3) + listeners + "E\nstep 1\n" + snmp(15, 9) + listeners + begun + "E\n");
    Sampled sampled;
    sampled.pass({});
    made.step();
    sampled.pass({});
    Interval interval;
    sockRows(sampled.sample, ProcSample(), ViewRow(), interval);
    std::map<uint64_t, uint64_t> accepted; // by cookie
    for (auto& row : interval.listeners.rows) accepted[row.cookie] = row.accepted.value_or(99);
    EXPECT_EQ(accepted, (std::map<uint64_t, uint64_t>{{1, 3}, {3, 2}}));
}

TEST(SockRows, Filters) {
    ViewRow asked;
    EXPECT_TRUE(wantsSocket(asked, 80, 4000, "10.0.0.1", "10.1.1.9", "ESTABLISHED"));
    asked.port = "443,80";
    EXPECT_TRUE(wantsSocket(asked, 80, 4000, "", "", ""));
    EXPECT_TRUE(wantsSocket(asked, 4000, 443, "", "", ""));
    EXPECT_FALSE(wantsSocket(asked, 4000, 8080, "", "", ""));
    asked.address = "10.1.";
    EXPECT_TRUE(wantsSocket(asked, 80, 1, "10.0.0.1", "10.1.1.9", ""));
    EXPECT_FALSE(wantsSocket(asked, 80, 1, "10.0.0.1", "10.2.1.9", ""));
    asked.state = "CLOSE_WAIT";
    EXPECT_FALSE(wantsSocket(asked, 80, 1, "10.0.0.1", "10.1.1.9", "ESTABLISHED"));
    EXPECT_TRUE(wantsSocket(asked, 80, 1, "10.0.0.1", "10.1.1.9", "CLOSE_WAIT"));
}

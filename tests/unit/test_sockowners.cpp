// Who has which sockets, and what it costs to find that out.
#include "sample/sock.h"

#include "tests/unit/made.h"

#include <gtest/gtest.h>

namespace {
constexpr unsigned Each = 20; // listeners of a process

// Processes with 20 listeners each. The last descriptor of each process is a copy of the one before.
struct Listeners {
    std::vector<Ran> ran;
    std::string lines = "file /proc/net/snmp <<E\nTcp: InSegs OutSegs\nTcp: 0 0\nE\nnetlink sockdiag tcp4 <<E\n";
    unsigned descriptors = 0;

    explicit Listeners(unsigned count) {
        std::string links;
        const auto link = [&](unsigned pid, unsigned descriptor, unsigned inode) {
            links += "link /proc/" + std::to_string(pid) + "/fd/" + std::to_string(descriptor) + " socket:[" +
                     std::to_string(inode) + "]\n";
            descriptors++;
        };
        for (unsigned i = 0; i < count; i++) {
            const unsigned pid = 10 + i / Each, inode = 1000 + i;
            lines += "socket 10.0." + std::to_string(i / 250) + "." + std::to_string(i % 250 + 1) +
                     ":80 0.0.0.0:0 state=LISTEN cookie=" + std::to_string(i + 1) + " inode=" + std::to_string(inode) +
                     " rqueue=1 wqueue=128\n";
            link(pid, 3 + i % Each, inode);
            if (i % Each == 0) ran.push_back({static_cast<int>(pid), 7, 1, true, false, 'S'});
            if (i % Each == Each - 1) link(pid, 3 + Each, inode);
        }
        lines += "E\n" + links;
    }
};
} // namespace

TEST(SocketOwners, OfListenersAreFoundInOneWalkOverTheDescriptors) {
    const Listeners some(2000);
    Made made(some.lines);
    Helper helper;
    SockSampler sampler(Root(), helper);
    SockSample sample;
    sampler.sample(some.ran, {}, sample);
    sampler.sample(some.ran, {}, sample);
    ASSERT_EQ(sample.listeners.size(), 2000U);
    for (const auto& listener : sample.listeners) {
        const auto inode = sample.table.slots[listener.socket].inode;
        ASSERT_EQ(listener.owners, std::vector<uint32_t>{10 + (inode - 1000) / Each}) << "socket " << inode;
    }
    // A few times in each pass, not once for each listener.
    EXPECT_GE(sampler.comparisons(), 2 * some.descriptors);
    EXPECT_LE(sampler.comparisons(), 12 * some.descriptors);
}

// Most processes that ran have nothing that is wanted, and what is wanted belongs to the last of them.
TEST(SocketOwners, ASearchAmongWhoRanDoesNotBeginAnewForEach) {
    const Listeners some(2000);
    std::string lines = some.lines + "step 1\nfile /proc/net/snmp <<E\nTcp: InSegs OutSegs\nTcp: 1 1\nE\n" +
                        "netlink sockdiag tcp4 <<E\n";
    constexpr unsigned Fresh = 500;
    std::string links;
    for (unsigned i = 0; i < Fresh; i++) {
        lines += "socket 10.1.0.1:" + std::to_string(1000 + i) + " 10.9.0.1:5432 cookie=" + std::to_string(90000 + i) +
                 " inode=" + std::to_string(90000 + i) + " in=1 out=0\n";
        const int pid = i + 1 < Fresh ? 10 : some.ran.back().pid;
        links += "link /proc/" + std::to_string(pid) + "/fd/" + std::to_string(100 + i) + " socket:[" +
                 std::to_string(90000 + i) + "]\n";
    }
    Made made(lines + "E\n" + links);
    Helper helper;
    SockSampler sampler(Root(), helper);
    SockSample sample;
    auto ran = some.ran;
    sampler.sample(ran, {}, sample);
    for (auto& one : ran) one.fresh = false;
    made.step();
    const auto before = sampler.comparisons();
    sampler.sample(ran, {}, sample);
    unsigned owned = 0;
    for (const auto& socket : sample.table.slots) owned += !socket.free && socket.cookie >= 90000 && socket.owner != 0;
    EXPECT_EQ(owned, Fresh);
    EXPECT_LE(sampler.comparisons() - before, 6 * (some.descriptors + Fresh));
}

// The interfaces of other network namespaces: counters of a few at a time, rows, names, and their place in the table.
#include "model/netspaces.h"
#include "tests/unit/made.h"
#include "view/net.h"

#include <gtest/gtest.h>

static std::string linesOf(uint64_t received, uint64_t sent) {
    return "Inter-|   Receive  |  Transmit\n face |bytes    packets errs drop fifo frame compressed multicast|bytes\n"
           "    lo: 500 5 0 0 0 0 0 0 500 5 0 0 0 0 0 0\n  eth0: " +
           std::to_string(received) + " 10 0 2 0 0 0 0 " + std::to_string(sent) + " 12 0 0 0 0 0 0\n";
}

// A process in a namespace.
static std::string processIn(uint32_t pid, uint32_t inode, const std::string& devices) {
    const auto place = "/proc/" + std::to_string(pid);
    return "link " + place + "/ns/net net:[" + std::to_string(inode) + "]\nfile " + place + "/net/dev <<E\n" + devices +
           "E\n";
}

static SockSpace spaceOf(uint32_t inode, uint32_t pid) {
    SockSpace space;
    space.inode = inode, space.pid = pid;
    return space;
}

namespace {
struct Sampled {
    NetSpaceSampler sampler{Root()};
    NetSpaceSample sample;
    NetnsNames names{Root()};
    ProcSample processes;
    Interval interval;

    void take(const std::vector<SockSpace>& present, bool complete = false) {
        sampler.sample(present, sample);
        names.renew();
        interval.spaceLinks.clear();
        netSpaceRows(sample, names, processes, complete, interval.spaceLinks);
    }
    const SpaceLinkRow* row(uint64_t netns, const std::string& name) const {
        for (auto& row : interval.spaceLinks.rows)
            if (row.netns == netns && row.name == name) return &row;
        return nullptr;
    }
};
} // namespace

TEST(NetSpaces, AmountsSinceTheLastRead) {
    Made made(processIn(70, 4001, linesOf(1000, 2000)) + "step 1\n" + processIn(70, 4001, linesOf(5000, 2500)) +
              "step 2\n" + processIn(70, 4001, linesOf(300, 2600)));
    SockSpace own = spaceOf(4000, 1);
    own.own = true;
    const std::vector<SockSpace> present{own, spaceOf(4001, 70)};
    Sampled spaces;
    spaces.take(present, true);
    ASSERT_EQ(spaces.interval.spaceLinks.rows.size(), 2U);
    EXPECT_FALSE(spaces.row(4001, "eth0")->rx_bytes); // there is no earlier reading
    EXPECT_FALSE(spaces.row(4001, "eth0")->span_us);
    made.step();
    spaces.take(present);
    ASSERT_EQ(spaces.interval.spaceLinks.rows.size(), 1U); // lo stood still
    const auto* row = spaces.row(4001, "eth0");
    EXPECT_EQ(row->rx_bytes, 4000U);
    EXPECT_EQ(row->tx_bytes, 500U);
    EXPECT_EQ(row->rx_packets, 0U);
    EXPECT_EQ(row->span_us, 1000000U);
    made.step();
    spaces.take(present);
    EXPECT_FALSE(spaces.row(4001, "eth0")->rx_bytes); // it was made again
    EXPECT_EQ(spaces.row(4001, "eth0")->tx_bytes, 100U);
}

// Another namespace has the inode number of one that ended.
TEST(NetSpaces, ANumberThatIsUsedAgain) {
    Made made(processIn(70, 4001, linesOf(1000, 2000)) + "step 1\n" + processIn(71, 4001, linesOf(5000, 2500)) +
              "step 2\n" + processIn(71, 4001, linesOf(5001, 2500)));
    Sampled spaces;
    spaces.take({spaceOf(4001, 70)});
    made.step();
    auto other = spaceOf(4001, 71);
    other.fresh = true;
    spaces.take({other}, true);
    EXPECT_FALSE(spaces.row(4001, "eth0")->rx_bytes);
    made.step();
    spaces.take({spaceOf(4001, 71)});
    EXPECT_EQ(spaces.row(4001, "eth0")->rx_bytes, 1U);
}

// Each has its turn, and what waited has the amounts of all the time since.
TEST(NetSpaces, AFewInTurn) {
    constexpr uint32_t Spaces = 20;
    std::string lines;
    for (int step = 0; step < 6; step++) {
        if (step > 0) lines += "step " + std::to_string(step) + "\n";
        for (uint32_t i = 0; i < Spaces; i++)
            lines += processIn(100 + i, 5000 + i, linesOf(static_cast<uint64_t>(step) * 100, 0));
    }
    Made made(lines);
    std::vector<SockSpace> present;
    for (uint32_t i = 0; i < Spaces; i++) present.push_back(spaceOf(5000 + i, 100 + i));
    Sampled spaces;
    std::map<uint64_t, uint64_t> received, time_us;
    for (int step = 0; step < 6; step++) {
        if (step > 0) made.step();
        spaces.take(present);
        size_t reads = 0;
        for (auto& space : spaces.sample.spaces) reads += space.read;
        EXPECT_EQ(reads, NetSpaceSampler::MostReads);
        for (auto& row : spaces.interval.spaceLinks.rows)
            received[row.netns] += row.rx_bytes.value_or(0), time_us[row.netns] += row.span_us.value_or(0);
    }
    EXPECT_EQ(received.size(), Spaces);
    for (auto& [netns, bytes] : received) EXPECT_EQ(bytes * 10000, time_us[netns]) << netns; // 100 bytes a second
}

// A process that has left the namespace, or has ended, says nothing about it; a right that is missing is counted.
TEST(NetSpaces, ProcessesThatAreGone) {
    Made made(processIn(70, 4001, linesOf(1000, 0)) + processIn(71, 4002, linesOf(1000, 0)) +
              "step 1\nlink /proc/70/ns/net net:[9]\nfail open /proc/71/net/dev EACCES\n");
    Sampled spaces;
    spaces.take({spaceOf(4001, 70), spaceOf(4002, 71)});
    made.step();
    spaces.take({spaceOf(4001, 70), spaceOf(4002, 71), spaceOf(4003, 72)});
    EXPECT_TRUE(spaces.interval.spaceLinks.rows.empty());
    EXPECT_EQ(spaces.sampler.notAllowed(), 1U);
    spaces.take({});
    EXPECT_TRUE(spaces.sample.spaces.empty());
}

// Counters are paired by the name of the interface, wherever it stands, and by the namespace.
TEST(NetSpaces, InterfacesComeAndGo) {
    const auto line = [](const char* name, int received) {
        return std::string(name) + ": " + std::to_string(received) + " 10 0 2 0 0 0 0 7 12 0 0 0 0 0 0\n";
    };
    Made made(processIn(70, 4001, line("veth9", 100) + line("eth0", 1000)) + processIn(60, 4002, line("eth0", 5)) +
              "step 1\n" + processIn(70, 4001, line("eth1", 30) + line("eth0", 1001) + line("veth9", 103)) +
              processIn(50, 4000, line("eth0", 9)) + "step 2\n" + processIn(70, 4001, line("veth9", 110)) +
              processIn(60, 4002, line("eth0", 11)) + processIn(50, 4000, line("eth0", 10)));
    Sampled spaces;
    spaces.take({spaceOf(4002, 60), spaceOf(4001, 70)});
    made.step();
    spaces.take({spaceOf(4001, 70), spaceOf(4000, 50)}, true);
    EXPECT_EQ(spaces.interval.spaceLinks.rows.size(), 4U);
    EXPECT_EQ(spaces.row(4001, "eth0")->rx_bytes, 1U);
    EXPECT_EQ(spaces.row(4001, "veth9")->rx_bytes, 3U);
    EXPECT_FALSE(spaces.row(4001, "eth1")->rx_bytes);
    EXPECT_FALSE(spaces.row(4000, "eth0")->rx_bytes);
    made.step();
    spaces.take({spaceOf(4001, 70), spaceOf(4002, 60), spaceOf(4000, 50)}, true);
    EXPECT_EQ(spaces.interval.spaceLinks.rows.size(), 3U);
    EXPECT_EQ(spaces.row(4001, "veth9")->rx_bytes, 7U);
    EXPECT_FALSE(spaces.row(4002, "eth0")->rx_bytes); // it was gone in between
    EXPECT_EQ(spaces.row(4000, "eth0")->rx_bytes, 1U);
}

TEST(NetSpaces, NamesThatPeopleGave) {
    const std::string table = R"(22 1 0:20 / /proc rw - proc proc rw
30 29 0:4 net:[4001] /run/netns/blue rw shared:200 - nsfs nsfs rw
31 30 0:4 net:[4001] /run/netns/azure rw shared:200 - nsfs nsfs rw
32 30 0:4 net:[4002] /run/netns/cni-5b43a5b3-8a53-0a7c-1f0d-6e2a4a4d9c11 rw - nsfs nsfs rw
33 30 0:4 net:[4003] /run/docker/netns/3f2a91c04e1b rw - nsfs nsfs rw
34 30 0:4 net:[4004] /host/var/run/netns/odd\040name rw - nsfs nsfs rw
35 30 0:4 mnt:[4005] /run/netns/mounts rw - nsfs nsfs rw
36 30 0:4 net:[4006 /run/netns/short rw - nsfs nsfs rw
37 30 0:4 net:[4294967296] /run/netns/large rw - nsfs nsfs rw
38 30 0:4 net:[4007]
39 30 0:4 net:[4008] run/netns rw - nsfs nsfs rw
)";
    Made made("file /proc/self/mountinfo <<E\n" + table + "E\nstep 1\nfile /proc/self/mountinfo <<E\n" +
              "30 29 0:4 net:[4009] /run/netns/blue rw - nsfs nsfs rw\nE\nstep 2\ngone /proc/self/mountinfo\n");
    size_t read = 0;
    made.world.watch = [&](const std::string& path) { read += path == "/proc/self/mountinfo"; };
    NetnsNames names{Root()};
    names.renew();
    EXPECT_EQ(names.find(4001), "azure");
    EXPECT_EQ(names.find(4004), "odd name");
    for (const uint32_t unnamed : {0U, 4000U, 4002U, 4003U, 4005U, 4006U, 4007U, 4008U})
        EXPECT_EQ(names.find(unnamed), "") << unnamed;
    names.renew();
    EXPECT_EQ(read, 1U);
    made.step();
    names.renew();
    EXPECT_EQ(names.find(4001), "");
    EXPECT_EQ(names.find(4009), "blue");
    made.step();
    names.renew();
    EXPECT_EQ(names.find(4009), "");
}

// The same name in the tables of interfaces and of sockets. The namespace that wyrt runs in keeps none.
TEST(NetSpaces, NamedAlikeEverywhere) {
    Made made("file /proc/self/mountinfo <<E\n30 29 0:4 net:[4001] /run/netns/blue rw - nsfs nsfs rw\n"
              "31 29 0:4 net:[4000] /run/netns/mine rw - nsfs nsfs rw\nE\n" +
              processIn(70, 4001, linesOf(1, 2)));
    Sampled spaces;
    spaces.take({spaceOf(4001, 70)}, true);
    EXPECT_EQ(spaces.row(4001, "eth0")->space, "blue");
    auto& rows = spaces.interval.namespaces;
    for (const uint64_t netns : {4000U, 4001U, 4002U})
        rows.rows.emplace_back().netns = netns, rows.rows.back().name = "container";
    rows.rows[0].own = true, rows.rows[0].name.clear();
    nameSpaces(spaces.names, rows);
    EXPECT_EQ(rows.rows[0].name, "");
    EXPECT_EQ(rows.rows[1].name, "blue");
    EXPECT_EQ(rows.rows[2].name, "container");
}

TEST(NetSpaces, TheTable) {
    Interval interval;
    interval.linksTotal.sampled = interval.links.sampled = interval.spaceLinks.sampled = true;
    interval.linksTotal.elapsed_us = interval.links.elapsed_us = 2000000;
    auto& all = interval.linksTotal.rows.emplace_back();
    all.links = 2, all.idle = 2, all.counted = 1, all.rx_bytes = 0;
    const auto shown = [&] {
        Page page(0, false);
        showNet(interval, {LogHead{}, ViewRow{}}, page);
        return page.text();
    };
    EXPECT_EQ(shown(), "NET  2 interfaces, idle\n");
    auto& row = interval.spaceLinks.rows.emplace_back();
    row.netns = 4001, row.name = "eth0", row.space = "shop/web\x1b", row.span_us = 4000000;
    row.rx_bytes = 8 << 20, row.tx_bytes = 0;
    auto& lo = interval.spaceLinks.rows.emplace_back(row);
    lo.name = "lo";
    auto& unnamed = interval.spaceLinks.rows.emplace_back(interval.spaceLinks.rows[0]);
    unnamed.netns = 4002, unnamed.space.clear(), unnamed.rx_bytes = 16 << 20;
    const auto text = shown();
    const auto first = text.find("in network 4002"), second = text.find("in shop/web\\x1B");
    EXPECT_TRUE(first != text.npos && second != text.npos && first < second) << text;
    EXPECT_NE(text.find("eth0          2.0    0.0"), text.npos) << text;
    EXPECT_EQ(text.find("\nlo "), text.npos) << text;
    EXPECT_EQ(text.find("more"), text.npos) << text;
    const auto one = interval.spaceLinks.rows[0];
    for (uint64_t netns = 5000; netns < 5020; netns++) interval.spaceLinks.rows.emplace_back(one).netns = netns;
    EXPECT_TRUE(shown().ends_with("     10 more (-n)\n")) << shown();
}

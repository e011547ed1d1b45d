#include "model/net.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <linux/if.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

// --- The total

static LinkFacts linkOf(uint32_t index, const std::string& named, const std::string& kind = "", uint32_t master = 0,
                        uint32_t lower = 0) {
    LinkFacts link;
    link.index = index, link.name = named, link.kind = kind, link.master = master, link.lower = lower;
    link.state = IF_OPER_UP;
    if (named == "lo") link.flags = IFF_LOOPBACK;
    return link;
}

static std::string countedOf(std::vector<LinkFacts> links) {
    markCounted(links);
    std::string names;
    for (auto& link : links)
        if (link.counted) names += (names.empty() ? "" : " ") + link.name;
    return names;
}

TEST(CountedLinks, NoPacketTwice) {
    EXPECT_EQ(countedOf({linkOf(1, "lo"), linkOf(2, "eth0", "", 4), linkOf(3, "eth1", "", 4),
                         linkOf(4, "bond0", "bond"), linkOf(5, "bond0.7", "vlan", 0, 4)}),
              "eth0 eth1");
    EXPECT_EQ(countedOf({linkOf(1, "lo"), linkOf(2, "eth0", "", 3), linkOf(3, "br0", "bridge"),
                         linkOf(4, "tap0", "tun", 3), linkOf(6, "wg0", "wireguard")}),
              "eth0");
    EXPECT_EQ(countedOf({linkOf(2, "eth0"), linkOf(3, "enP1", "", 2)}), "eth0") << "a virtual function below eth0";
    EXPECT_EQ(countedOf({linkOf(2, "eth0"), linkOf(3, "lan1", "", 0, 2)}), "eth0") << "a port of a switch";
    EXPECT_EQ(countedOf({}), "");
    // In a container.
    auto veth = linkOf(2, "eth0", "veth", 0, 7);
    veth.lower_abroad = true;
    EXPECT_EQ(countedOf({linkOf(1, "lo"), veth, linkOf(3, "eth0.5", "vlan", 0, 2)}), "eth0");
    EXPECT_EQ(countedOf({linkOf(1, "lo")}), "");
}

// --- Rows

namespace {
struct NetRows {
    Rows<LinkRow> links;
    Rows<LinksRow> all;
    Rows<AddressRow> addresses;
};
struct Machine {
    NetSample sample;
    std::shared_ptr<NetFacts> facts = std::make_shared<NetFacts>();
    explicit Machine(int64_t at_us) {
        sample.at_us = at_us;
        sample.known = sample.complete = true;
        sample.facts = facts;
    }
    Machine& add(LinkFacts link, uint64_t rx_bytes, uint64_t packets = 0) {
        LinkCount count;
        count.index = link.index;
        count.counters.rx_bytes = rx_bytes, count.counters.rx_packets = packets;
        sample.counts.push_back(count);
        facts->links.push_back(std::move(link));
        markCounted(facts->links);
        return *this;
    }
    Machine& address(uint32_t index, const char* text, uint8_t scope = RT_SCOPE_UNIVERSE) {
        facts->addresses.push_back({index, AF_INET, 24, scope, text});
        return *this;
    }
};
} // namespace

static NetRows rowsOf(const Machine& before, const Machine& now, bool complete = false) {
    NetRows rows;
    netRows(&before.sample, now.sample, complete, rows.links, rows.all, rows.addresses);
    return rows;
}

TEST(NetModel, TrafficAndTotal) {
    Machine before(1000), now(2001000);
    before.add(linkOf(1, "lo"), 10).add(linkOf(2, "eth0"), 100, 1).add(linkOf(3, "eth1"), 5);
    now.add(linkOf(1, "lo"), 1010).add(linkOf(2, "eth0"), 700, 4).add(linkOf(3, "eth1"), 5);
    before.sample.counts[1].counters.rx_missed = 1, now.sample.counts[1].counters.rx_missed = 3;
    before.sample.facts = now.sample.facts;
    const auto rows = rowsOf(before, now);
    ASSERT_EQ(rows.links.rows.size(), 2U) << "without the idle one";
    EXPECT_EQ(rows.links.elapsed_us, 2000000);
    auto& eth0 = rows.links.rows[1];
    EXPECT_EQ(eth0.index, 2U);
    EXPECT_EQ(eth0.rx_bytes, 600U);
    EXPECT_EQ(eth0.rx_missed, 2U);
    EXPECT_EQ(eth0.rx_dropped, 2U) << "what the ring could not take is a drop";
    ASSERT_EQ(rows.all.rows.size(), 1U);
    EXPECT_EQ(rows.all.rows[0].rx_bytes, 600U) << "without loopback";
    EXPECT_EQ(rows.all.rows[0].links, 3U);
    EXPECT_EQ(rows.all.rows[0].idle, 1U);
    EXPECT_EQ(rows.all.rows[0].counted, 2U);
    EXPECT_EQ(rowsOf(before, now, true).links.rows.size(), 3U);
}

TEST(NetModel, TheFirstSampleHasNoRows) {
    Machine now(5);
    now.add(linkOf(2, "eth0"), 100);
    NetRows rows;
    netRows(nullptr, now.sample, true, rows.links, rows.all, rows.addresses);
    EXPECT_TRUE(rows.links.sampled);
    EXPECT_TRUE(rows.links.rows.empty());
    EXPECT_TRUE(rows.all.rows.empty());
    Machine unknown(9);
    unknown.sample.known = false;
    const auto none = rowsOf(now, unknown);
    EXPECT_FALSE(none.links.sampled);
}

TEST(NetModel, AFallIsAReset) {
    Machine before(0), now(1000000);
    before.add(linkOf(2, "eth0"), 100, 50);
    now.add(linkOf(2, "eth0"), 7, 60);
    const auto rows = rowsOf(before, now);
    ASSERT_EQ(rows.links.rows.size(), 1U);
    EXPECT_FALSE(rows.links.rows[0].rx_bytes);
    EXPECT_EQ(rows.links.rows[0].rx_packets, 10U);
    EXPECT_FALSE(rows.all.rows[0].rx_bytes);
}

TEST(NetModel, WhatComesStartsFromItsCountersOfThatMoment) {
    Machine before(0), now(1000000);
    before.add(linkOf(2, "eth0"), 100);
    now.add(linkOf(2, "eth0"), 100).add(linkOf(9, "eth1"), 5000);
    EXPECT_EQ(rowsOf(before, now).links.rows.at(0).rx_bytes, 5000U) << "new: all that it counted";
    LinkCounters came;
    came.rx_bytes = 4000;
    now.sample.arrived.push_back({9, false, came});
    EXPECT_EQ(rowsOf(before, now).links.rows.at(0).rx_bytes, 1000U) << "from another namespace";
    now.sample.arrived.clear();
    now.sample.lost = true;
    EXPECT_FALSE(rowsOf(before, now).links.rows.at(0).rx_bytes) << "it is not known how it came";
    now.sample.lost = false, before.sample.complete = false;
    EXPECT_FALSE(rowsOf(before, now).links.rows.at(0).rx_bytes) << "it may have been there before";
}

TEST(NetModel, AnotherInterfaceOfTheSameNumber) {
    Machine before(0), now(1000000);
    before.add(linkOf(9, "tun0"), 100);
    now.add(linkOf(9, "veth0"), 5000);
    now.sample.arrived.push_back({9, true, {}});
    EXPECT_EQ(rowsOf(before, now).links.rows.at(0).rx_bytes, 5000U);
    now.sample.arrived[0].replaced = false; // its news came late
    EXPECT_EQ(rowsOf(before, now).links.rows.at(0).rx_bytes, 4900U);
}

TEST(NetModel, ChangesAloneMakeARow) {
    const auto changed = [](auto change) {
        Machine before(0), now(1000000);
        before.add(linkOf(2, "eth0"), 100).address(2, "10.0.0.1");
        auto link = linkOf(2, "eth0");
        now.address(2, "10.0.0.1");
        change(link, now);
        now.add(link, 100);
        const auto rows = rowsOf(before, now);
        return rows.links.rows.size();
    };
    EXPECT_EQ(changed([](LinkFacts&, Machine&) {}), 0U);
    EXPECT_EQ(changed([](LinkFacts& link, Machine&) { link.name = "wan"; }), 1U);
    EXPECT_EQ(changed([](LinkFacts& link, Machine&) { link.state = IF_OPER_DOWN; }), 1U);
    EXPECT_EQ(changed([](LinkFacts& link, Machine&) { link.mtu = 9000; }), 1U);
    EXPECT_EQ(changed([](LinkFacts& link, Machine&) { link.speed = 1000000000; }), 1U);
    EXPECT_EQ(changed([](LinkFacts& link, Machine&) { link.carrier_changes = 2; }), 1U);
    EXPECT_EQ(changed([](LinkFacts&, Machine& now) { now.address(2, "10.0.0.2"); }), 1U);
}

TEST(NetModel, AddressesThatCameAndWent) {
    Machine before(0), now(1000000);
    before.add(linkOf(2, "eth0"), 0).address(2, "10.0.0.1").address(2, "10.0.0.2");
    now.add(linkOf(2, "eth0"), 0).address(2, "10.0.0.2").address(2, "10.0.0.3");
    const auto rows = rowsOf(before, now).addresses.rows;
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].address, "10.0.0.1");
    EXPECT_FALSE(rows[0].present);
    EXPECT_EQ(rows[0].name, "eth0");
    EXPECT_EQ(rows[1].address, "10.0.0.3");
    EXPECT_TRUE(rows[1].present);
    EXPECT_EQ(rows[1].family, 4U);
    EXPECT_EQ(rowsOf(before, now, true).addresses.rows.size(), 3U) << "the one that went, and all there are";
    now.sample.facts = before.sample.facts;
    EXPECT_TRUE(rowsOf(before, now).addresses.rows.empty());
}

TEST(NetModel, AddressesOfTheLinkOnlyWhereThereIsNoOther) {
    Machine before(0), now(1000000);
    now.add(linkOf(2, "eth0"), 0).add(linkOf(3, "eth1"), 0);
    now.address(2, "10.0.0.1").address(2, "169.254.0.1", RT_SCOPE_LINK).address(3, "169.254.0.2", RT_SCOPE_LINK);
    const auto rows = rowsOf(before, now, true).links.rows;
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].addresses, "10.0.0.1");
    EXPECT_EQ(rows[1].addresses, "169.254.0.2");
}

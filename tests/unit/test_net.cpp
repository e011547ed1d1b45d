#include "model/net.h"

#include "base/clock.h"
#include "parse/attributes.h"
#include "parse/link.h"
#include "tests/unit/made.h"
#include "view/net.h"

#include <cstring>

#include <gtest/gtest.h>
#include <linux/if.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

// --- Messages

template <typename T> static std::string bytesOf(const T& value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}
static std::string padded(std::string text) {
    text.resize((text.size() + 3) & ~size_t{3});
    return text;
}
static std::string attribute(uint16_t type, const std::string& value) {
    const nlattr header{static_cast<uint16_t>(sizeof(nlattr) + value.size()), type};
    return padded(bytesOf(header) + value);
}
static std::string message(uint16_t type, const std::string& payload) {
    nlmsghdr header{};
    header.nlmsg_len = static_cast<uint32_t>(sizeof header + payload.size());
    header.nlmsg_type = type;
    return padded(bytesOf(header) + payload);
}
static std::string linkPayload(int index, const std::string& attributes, uint8_t family = AF_UNSPEC) {
    ifinfomsg body{};
    body.ifi_family = family, body.ifi_index = index, body.ifi_flags = IFF_UP | IFF_RUNNING;
    return bytesOf(body) + attributes;
}
static std::string name(const std::string& text) { return attribute(IFLA_IFNAME, text + '\0'); }

static rtnl_link_stats64 someStats() {
    rtnl_link_stats64 stats{};
    stats.rx_bytes = 5000000000, stats.tx_bytes = 7, stats.rx_missed_errors = 3, stats.rx_nohandler = 9;
    return stats;
}

TEST(LinkMessages, WhatAnInterfaceIs) {
    const auto kind = attribute(IFLA_LINKINFO | NLA_F_NESTED, attribute(IFLA_INFO_KIND, std::string("vlan\0", 5)));
    const auto link = parseLink(linkPayload(
        7, name("eth0.5") + attribute(IFLA_MTU, bytesOf(uint32_t{1500})) + attribute(IFLA_LINK, bytesOf(uint32_t{2})) +
               attribute(IFLA_OPERSTATE, std::string(1, char{IF_OPER_UP})) + kind +
               attribute(IFLA_MASTER, bytesOf(uint32_t{4})) + attribute(IFLA_CARRIER_CHANGES, bytesOf(uint32_t{3})) +
               attribute(IFLA_STATS64, bytesOf(someStats()))));
    ASSERT_TRUE(link);
    EXPECT_EQ(link->index, 7U);
    EXPECT_EQ(link->name, "eth0.5");
    EXPECT_EQ(link->kind, "vlan");
    EXPECT_EQ(link->mtu, 1500U);
    EXPECT_EQ(link->lower, 2U);
    EXPECT_FALSE(link->lower_abroad);
    EXPECT_EQ(link->master, 4U);
    EXPECT_EQ(stateName(link->state), "up");
    EXPECT_EQ(link->carrier_changes, 3U);
    ASSERT_TRUE(link->counters);
    EXPECT_EQ(link->counters->rx_bytes, 5000000000U);
    EXPECT_EQ(link->counters->rx_missed, 3U);
    EXPECT_EQ(link->counters->rx_nohandler, 9U);
}

TEST(LinkMessages, CountersOfOldAndOfFutureKernels) {
    if_stats_msg body{};
    body.ifindex = 12;
    const auto all = bytesOf(someStats());
    uint32_t index = 0;
    LinkCounters counters;
    const auto payload = [&](const std::string& stats) { return bytesOf(body) + attribute(IFLA_STATS_LINK_64, stats); };
    ASSERT_TRUE(parseLinkCounters(payload(all + std::string(64, '\x55')), index, counters));
    EXPECT_EQ(index, 12U);
    EXPECT_EQ(counters.tx_bytes, 7U);
    EXPECT_EQ(counters.rx_nohandler, 9U);
    ASSERT_TRUE(parseLinkCounters(payload(all.substr(0, offsetof(rtnl_link_stats64, rx_nohandler))), index, counters));
    EXPECT_EQ(counters.rx_nohandler, 0U);
    EXPECT_FALSE(parseLinkCounters(payload(all.substr(0, 100)), index, counters));
    EXPECT_FALSE(parseLinkCounters(bytesOf(body), index, counters));
    EXPECT_FALSE(parseLinkCounters("", index, counters));
}

TEST(LinkMessages, CutAndHostileOnesAreLeftOut) {
    const auto whole = linkPayload(7, name("eth0") + attribute(IFLA_STATS64, bytesOf(someStats())));
    for (size_t size = 0; size < sizeof(ifinfomsg); size++) EXPECT_FALSE(parseLink(whole.substr(0, size))) << size;
    for (size_t size = sizeof(ifinfomsg); size < whole.size(); size++) {
        const auto link = parseLink(whole.substr(0, size));
        ASSERT_TRUE(link) << size;
        EXPECT_FALSE(link->counters) << size;
    }
    EXPECT_FALSE(parseLink(linkPayload(7, "", AF_BRIDGE))) << "a port of a bridge";
    EXPECT_FALSE(parseLink(linkPayload(0, "")));
    EXPECT_FALSE(parseLink(linkPayload(-3, "")));
    // An attribute without a NUL, an empty one, a number of the wrong size, a length that reaches too far.
    EXPECT_EQ(parseLink(linkPayload(7, attribute(IFLA_IFNAME, "abcd")))->name, "abcd");
    EXPECT_EQ(parseLink(linkPayload(7, attribute(IFLA_IFNAME, "")))->name, "");
    EXPECT_EQ(parseLink(linkPayload(7, attribute(IFLA_MTU, "ab")))->mtu, 0U);
    EXPECT_EQ(parseLink(linkPayload(7, bytesOf(nlattr{60000, IFLA_IFNAME}) + "eth0"))->name, "");
    EXPECT_EQ(parseLink(linkPayload(7, bytesOf(nlattr{0, IFLA_IFNAME}) + "eth0"))->name, "");
}

TEST(Messages, WalkEndsAtWhatDoesNotFit) {
    const auto count = [](const std::string& text) {
        int messages = 0;
        eachMessage(text, [&](uint16_t, std::string_view) { messages++; });
        return messages;
    };
    const auto two = message(16, "ab") + message(16, "");
    EXPECT_EQ(count(two), 2);
    EXPECT_EQ(count(two.substr(0, two.size() - 1)), 1);
    EXPECT_EQ(count(""), 0);
    EXPECT_EQ(count(std::string(64, '\0')), 0);
    EXPECT_EQ(count(std::string(64, '\xFF')), 0);
}

TEST(AddressMessages, BothFamilies) {
    const auto payload = [](uint8_t family, const std::string& attributes) {
        ifaddrmsg body{};
        body.ifa_family = family, body.ifa_prefixlen = 24, body.ifa_index = 3, body.ifa_scope = RT_SCOPE_LINK;
        return bytesOf(body) + attributes;
    };
    const std::string four = {10, 2, 0, 7}, peer = {10, 2, 0, 8};
    auto address = parseAddress(payload(AF_INET, attribute(IFA_ADDRESS, peer) + attribute(IFA_LOCAL, four)));
    ASSERT_TRUE(address);
    EXPECT_EQ(address->text, "10.2.0.7");
    EXPECT_EQ(address->index, 3U);
    EXPECT_EQ(address->prefix, 24);
    EXPECT_EQ(scopeName(address->scope), "link");
    address = parseAddress(payload(AF_INET6, attribute(IFA_ADDRESS, std::string(15, '\0') + '\1')));
    ASSERT_TRUE(address);
    EXPECT_EQ(address->text, "::1");
    EXPECT_FALSE(parseAddress(payload(AF_INET6, attribute(IFA_ADDRESS, four)))) << "too short for its family";
    EXPECT_FALSE(parseAddress(payload(AF_INET, "")));
    EXPECT_FALSE(parseAddress(payload(AF_UNIX, attribute(IFA_ADDRESS, four))));
    EXPECT_FALSE(parseAddress("abc"));
}

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

// --- The table

static std::string shown(const Interval& interval, size_t width, const ViewRow& asked = {}) {
    const LogHead head;
    Page page(width, false);
    showNet(interval, View{head, asked}, page);
    return page.text();
}

static Interval someInterval() {
    Interval interval;
    interval.links.elapsed_us = interval.linksTotal.elapsed_us = 2000000;
    LinkRow row;
    row.name = "bond0", row.state = "up", row.addresses = "10.2.0.7 2001:db8::7", row.speed = 10000000000;
    row.rx_bytes = 200 << 20, row.tx_bytes = 1 << 20, row.rx_packets = 122000, row.tx_packets = 4;
    row.rx_errors = row.tx_errors = 0, row.rx_dropped = 6;
    interval.links.rows.push_back(row);
    row.name = "idle", row.rx_bytes = row.tx_bytes = row.rx_packets = row.tx_packets = row.rx_dropped = 0;
    interval.links.rows.push_back(row);
    row.name = "eth\x1B[2J", row.tx_bytes = 10, row.speed.reset(), row.addresses.clear();
    interval.links.rows.push_back(row);
    LinksRow all;
    all.links = 4, all.idle = 2, all.counted = 1, all.rx_bytes = 200 << 20;
    interval.linksTotal.rows.push_back(all);
    return interval;
}

TEST(NetView, MostTrafficFirstAndIdleOnesCounted) {
    EXPECT_EQ(shown(someInterval(), 0),
              "NET         rMB/s  wMB/s rpkt/s wpkt/s err/s drop/s speed  use% state address\n"
              "bond0       100.0    0.5  61.0K      2     0      3   10G   8.4 up    10.2.0.7 2001:db8::7\n"
              "eth\\x1B[2J    0.0    0.0      0      0     0      0     -     - up\n"
              "all 1       100.0      -      -      -     -      -                   2 idle\n");
    ViewRow asked;
    asked.rows = 1;
    asked.sort = "write";
    EXPECT_EQ(shown(someInterval(), 0, asked),
              "NET         rMB/s  wMB/s rpkt/s wpkt/s err/s drop/s speed  use% state address\n"
              "bond0       100.0    0.5  61.0K      2     0      3   10G   8.4 up    10.2.0.7 2001:db8::7\n"
              "all 1       100.0      -      -      -     -      -                   2 idle, 1 not shown\n");
}

TEST(NetView, NarrowAndIdle) {
    EXPECT_EQ(shown(someInterval(), 80),
              "NET         rMB/s  wMB/s rpkt/s wpkt/s err/s drop/s speed  use% state address\n"
              "bond0       100.0    0.5  61.0K      2     0      3   10G   8.4 up    10.2.0.7\n"
              "eth\\x1B[2J    0.0    0.0      0      0     0      0     -     - up\n"
              "all 1       100.0      -      -      -     -      -                   2 idle\n");
    auto wide = someInterval();
    wide.links.rows[0].addresses = "2001:db8:1234:5678::7 10.2.0.7";
    EXPECT_NE(shown(wide, 80).find("8.4 2001:db8:1234:5678::7\n"), std::string::npos);
    EXPECT_NE(shown(wide, 100).find("8.4 up    2001:db8:1234:5678::7 10.2.0.7\n"), std::string::npos);
    EXPECT_EQ(shown(someInterval(), 60).substr(0, 60), "NET         rMB/s  wMB/s err/s drop/s speed  use% address\nbo");
    Interval interval;
    EXPECT_EQ(shown(interval, 0), "");
    LinksRow all;
    all.links = all.idle = 4;
    interval.linksTotal.rows.push_back(all);
    EXPECT_EQ(shown(interval, 0), "NET  4 interfaces, idle\n");
}

// An interface that is gone while its driver is asked.
TEST(LinkSpeeds, WhatIsForgottenIsNotWaitedFor) {
    const Made made("hang eth0\n");
    Helper helper;
    LinkSpeeds speeds(helper);
    Link link;
    link.index = 2, link.name = "eth0", link.flags = IFF_RUNNING;
    speeds.ask(link);
    helper.await(getMonotonic() + 20000000);
    EXPECT_EQ(helper.abandoned(), 1U);
    speeds.forget(2);
    helper.pump();
    EXPECT_EQ(helper.abandoned(), 0U);
}

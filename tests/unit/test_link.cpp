// Interfaces and addresses in messages of the kernel, and speeds, which only a driver knows.
#include "base/clock.h"
#include "parse/attributes.h"
#include "parse/link.h"
#include "sample/linkspeeds.h"
#include "tests/unit/made.h"

#include <string>

#include <gtest/gtest.h>
#include <linux/if.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

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

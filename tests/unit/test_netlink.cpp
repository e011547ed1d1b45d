// The made-up machine's netlink, and walks over messages.
#include "base/netlink.h"
#include "tests/unit/made.h"
#include "tests/world/walk.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include <linux/if_link.h>
#include <linux/rtnetlink.h>

#include <gtest/gtest.h>

TEST(MadeNetlink, LinksAndAddressesAreRealMessages) {
    const Made machine("netlink route links <<E\nlink 2 eth0 mtu=9000 state=up kind=veth mac=02:00:00:00:00:01 "
                       "rx_bytes=18446744073709551615 tx_packets=7\nE\n"
                       "netlink route addresses <<E\naddress 2 2001:db8::1/64 scope=253\naddress 2 192.0.2.9/24\nE\n");
    Netlink socket;
    Contents answer;
    ASSERT_TRUE(socket.open(NETLINK_ROUTE));
    auto request = dumpRequest(RTM_GETLINK, ifinfomsg{});
    ASSERT_EQ(socket.ask(request, answer), Asked::Whole);
    std::string name;
    rtnl_link_stats64 statistics{};
    int links = 0;
    for (const nlmsghdr* message : Messages(answer.view())) {
        links++;
        EXPECT_EQ(message->nlmsg_type, RTM_NEWLINK);
        for (const nlattr* attribute : Attributes(message, sizeof(ifinfomsg))) {
            if (mnl_attr_get_type(attribute) == IFLA_IFNAME) name = mnl_attr_get_str(attribute);
            if (mnl_attr_get_type(attribute) == IFLA_STATS64)
                memcpy(&statistics, mnl_attr_get_payload(attribute), sizeof statistics);
        }
    }
    EXPECT_EQ(links, 1);
    EXPECT_EQ(name, "eth0");
    EXPECT_EQ(statistics.rx_bytes, UINT64_MAX);
    EXPECT_EQ(statistics.tx_packets, 7U);
    auto addresses = dumpRequest(RTM_GETADDR, ifaddrmsg{});
    ASSERT_EQ(socket.ask(addresses, answer), Asked::Whole);
    std::string families;
    for (const nlmsghdr* message : Messages(answer.view()))
        families += static_cast<const ifaddrmsg*>(mnl_nlmsg_get_payload(message))->ifa_family == AF_INET ? "4" : "6";
    EXPECT_EQ(families, "64");
}

TEST(MadeNetlink, FailsAndTellsNews) {
    Made machine("nonetlink sockdiag EPROTONOSUPPORT\nnetlink route links <<E\nerror ENOBUFS\nE\nstep 1\n"
                 "netlink route links <<E\ninterrupted\nhex 01 02 ff\nE\nnotice route links <<E\nunlink 3 veth1\nE\n"
                 "uevent add /devices/x/block/sdb SUBSYSTEM=block DEVNAME=sdb\noverrun uevent\n");
    Netlink asks, links, events, none;
    Contents text;
    EXPECT_FALSE(none.open(NETLINK_SOCK_DIAG));
    EXPECT_EQ(errno, EPROTONOSUPPORT);
    ASSERT_TRUE(asks.open(NETLINK_ROUTE));
    ASSERT_TRUE(links.open(NETLINK_ROUTE, RTMGRP_LINK));
    ASSERT_TRUE(events.open(NETLINK_KOBJECT_UEVENT, 1));
    auto request = dumpRequest(RTM_GETLINK, ifinfomsg{});
    EXPECT_EQ(asks.ask(request, text), Asked::Failed);
    EXPECT_EQ(errno, ENOBUFS);
    EXPECT_FALSE(events.take(text));
    machine.step();
    EXPECT_EQ(asks.ask(request, text), Asked::Interrupted);
    EXPECT_EQ(text.view(), "\x01\x02\xff");
    EXPECT_EQ(asks.ask(request, text, 2), Asked::Failed);
    EXPECT_EQ(errno, EMSGSIZE);
    ASSERT_TRUE(links.take(text));
    EXPECT_EQ(reinterpret_cast<const nlmsghdr*>(text.data.get())->nlmsg_type, RTM_DELLINK);
    EXPECT_FALSE(links.take(text));
    ASSERT_TRUE(events.take(text));
    const char expected[] =
        "add@/devices/x/block/sdb\0ACTION=add\0DEVPATH=/devices/x/block/sdb\0SUBSYSTEM=block\0DEVNAME=sdb";
    EXPECT_EQ(text.view(), std::string_view(expected, sizeof expected));
    EXPECT_EQ(events.overruns(), 1U);
    EXPECT_EQ(links.overruns(), 0U);
}

TEST(Messages, EndWithWhatIsCutShort) {
    const Made machine("netlink route links <<E\nlink 2 eth0 mtu=9000\nlink 3 eth1\nE\n");
    Netlink socket;
    Contents answer;
    ASSERT_TRUE(socket.open(NETLINK_ROUTE));
    auto request = dumpRequest(RTM_GETLINK, ifinfomsg{});
    ASSERT_EQ(socket.ask(request, answer), Asked::Whole);
    const std::string whole(answer.view());
    for (size_t size = 0; size <= whole.size(); size++) {
        std::vector<char> part(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)); // of exactly this size
        size_t messages = 0, bytes = 0;
        for (const nlmsghdr* message : Messages({part.data(), size})) {
            messages++;
            for (const nlattr* attribute : Attributes(message, sizeof(ifinfomsg))) bytes += attribute->nla_len;
        }
        EXPECT_LE(messages, 2U);
        EXPECT_LE(bytes, size);
        EXPECT_EQ(messages == 2, size == whole.size()) << size;
    }
    // Lengths that a hostile sender made up.
    for (size_t at = 0; at + 1 < whole.size(); at++)
        for (const int value : {0, 1, 3, 255}) {
            std::vector<char> bad(whole.begin(), whole.end());
            bad[at] = static_cast<char>(value);
            for (const nlmsghdr* message : Messages({bad.data(), bad.size()}))
                for (const nlattr* attribute : Attributes(message, sizeof(ifinfomsg)))
                    for (const nlattr* inner : Attributes(attribute)) EXPECT_GE(inner->nla_len, sizeof(nlattr));
        }
}

// The table of sockets: found by cookie and inode, and by namespace and protocol.
#include "sample/socktable.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

static uint32_t add(SocketTable& table, uint16_t space, uint8_t protocol, uint64_t cookie) {
    Socket socket;
    socket.space = space, socket.protocol = protocol, socket.cookie = cookie;
    return table.add(socket);
}

static std::vector<uint64_t> cookiesOf(SocketTable& table, uint16_t space, uint8_t protocol) {
    std::vector<uint64_t> cookies;
    table.each(space, protocol, [&](uint32_t at) { cookies.push_back(table.slots[at].cookie); });
    std::sort(cookies.begin(), cookies.end());
    return cookies;
}

TEST(SocketTable, EachGivesThoseOfOneNamespaceAndProtocol) {
    SocketTable table;
    EXPECT_TRUE(cookiesOf(table, 0, IPPROTO_TCP).empty());
    for (uint64_t i = 0; i < 1000; i++) add(table, static_cast<uint16_t>(i % 10), IPPROTO_TCP, i);
    const auto udp = add(table, 3, IPPROTO_UDP, 5000);
    EXPECT_EQ(cookiesOf(table, 3, IPPROTO_TCP).size(), 100U);
    EXPECT_EQ(table.visits(), 100U);
    EXPECT_EQ(cookiesOf(table, 3, IPPROTO_UDP), std::vector<uint64_t>{5000});
    EXPECT_TRUE(cookiesOf(table, 4, IPPROTO_UDP).empty());
    EXPECT_TRUE(cookiesOf(table, 99, IPPROTO_TCP).empty());
    table.remove(udp);
    EXPECT_TRUE(cookiesOf(table, 3, IPPROTO_UDP).empty());
    EXPECT_EQ(cookiesOf(table, 3, IPPROTO_TCP).size(), 100U);
}

TEST(SocketTable, EachMayRemoveWhatItGives) {
    SocketTable table;
    for (uint64_t i = 0; i < 9; i++) add(table, 1, IPPROTO_TCP, i);
    table.each(1, IPPROTO_TCP, [&](uint32_t at) {
        if (table.slots[at].cookie % 3 != 1) table.remove(at);
    });
    EXPECT_EQ(cookiesOf(table, 1, IPPROTO_TCP), (std::vector<uint64_t>{1, 4, 7}));
    EXPECT_EQ(table.size(), 3U);
    add(table, 1, IPPROTO_TCP, 20); // in a place of one that was removed
    add(table, 2, IPPROTO_TCP, 21);
    EXPECT_EQ(cookiesOf(table, 1, IPPROTO_TCP), (std::vector<uint64_t>{1, 4, 7, 20}));
    EXPECT_EQ(cookiesOf(table, 2, IPPROTO_TCP), std::vector<uint64_t>{21});
    table.each(1, IPPROTO_TCP, [&](uint32_t at) { table.remove(at); });
    EXPECT_TRUE(cookiesOf(table, 1, IPPROTO_TCP).empty());
    EXPECT_NE(table.find(2, 21), SocketTable::None);
}

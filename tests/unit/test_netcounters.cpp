// Counters of a network namespace.
#include "parse/netcounters.h"

#include <gtest/gtest.h>

TEST(NetCounters, TcpAndUdp) {
    const char* snmp = "Ip: Forwarding\nIp: 1\n"
                       "Tcp: RtoAlgorithm MaxConn ActiveOpens PassiveOpens AttemptFails EstabResets CurrEstab InSegs "
                       "OutSegs RetransSegs InErrs OutRsts\nTcp: 1 -1 2 3 4 5 6 7 8 9 10 11\n"
                       "Udp: InDatagrams NoPorts InErrors OutDatagrams RcvbufErrors SndbufErrors\nUdp: 1 2 3 4 5 6\n"
                       "UdpLite: InDatagrams\nUdpLite: 70\n";
    TcpCounters tcp;
    ASSERT_TRUE(parseTcpCounters(snmp, tcp));
    EXPECT_EQ(tcp, (TcpCounters{2, 3, 4, 5, 7, 8, 9, 10, 11}));
    UdpCounters udp;
    ASSERT_TRUE(parseUdpCounters(snmp, udp));
    ASSERT_TRUE(parseUdp6Counters("Ip6InReceives 7\nUdp6InDatagrams \t10\nUdp6OutDatagrams 20\nUdpLite6OutDatagrams 9\n"
                                  "Udp6RcvbufErrors x\nUdp6NoPorts",
                                  udp));
    EXPECT_EQ(udp, (UdpCounters{11, 24, 2, 3, 11})); // both families
}

TEST(NetCounters, Listeners) {
    const auto counters = parseListenCounters("TcpExt: SyncookiesSent ListenOverflows ListenDrops Later\n"
                                              "TcpExt: 1 2 3 4\nIpExt: InNoRoutes\nIpExt: 5\n");
    ASSERT_TRUE(counters);
    EXPECT_EQ(counters->cookies, 1U);
    EXPECT_EQ(counters->overflows, 2U);
    EXPECT_EQ(counters->drops, 3U);
    EXPECT_FALSE(parseListenCounters("TcpExt: SyncookiesSent\nTcpExt: 1\n"));
    EXPECT_FALSE(parseListenCounters("TcpExt: ListenDrops\nTcpExt:\n"));
    EXPECT_FALSE(parseListenCounters("TcpExt: ListenDrops\n"));
    EXPECT_FALSE(parseListenCounters(""));
}

TEST(NetCounters, Levels) {
    SocketLevels levels;
    parseSocketLevels("sockets: used 20\nTCP: inuse 1 orphan 2 tw 3 alloc 4 mem 5\nUDP: inuse 6 mem 7\n"
                      "RAW: inuse 9\nFRAG: inuse x memory 0\n",
                      levels);
    parseSocketLevels("TCP6: inuse 10\nUDP6: inuse 11\nUDP6: inuse", levels);
    EXPECT_EQ(levels, (SocketLevels{1, 10, 6, 11, 20, 2, 3, 5, 7}));
    for (const char* text : {"", "TCP:", "TCP: mem", "TCP: mem x", "TCP: mem -1", "\n\nmem 5\n",
                             "TCP: inuse 99999999999999999999\nTCP:\n"}) {
        SocketLevels none;
        parseSocketLevels(text, none);
        EXPECT_EQ(none, SocketLevels()) << text;
    }
}

TEST(NetCounters, OddTexts) {
    TcpCounters tcp;
    for (const char* text : {"", "Tcp:", "Tcp: InSegs\n", "Tcp: InSegs\nTcp6: 1\n", "Tcp"})
        EXPECT_FALSE(parseTcpCounters(text, tcp)) << text;
    ASSERT_TRUE(parseTcpCounters("Tcp: InSegs OutSegs ActiveOpens\nTcp: -1 18446744073709551616\n", tcp));
    EXPECT_EQ(tcp, TcpCounters()); // what is no number, or missing, is left out
}

// Messages of SOCK_DIAG, and the requests for them.
#include "parse/sockdiag.h"

#include "parse/attributes.h"
#include "tests/unit/made.h"

#include <sys/socket.h>

#include <gtest/gtest.h>

// The payloads of the messages that a world's lines make.
static std::vector<std::string> payloads(const std::string& lines) {
    std::vector<std::string> all;
    eachMessage(encodeMessages("sockdiag", lines).bytes,
                [&](uint16_t, std::string_view payload) { all.emplace_back(payload); });
    return all;
}
static std::optional<InetSocket> parsed(const std::string& line) { return parseInetSocket(payloads(line).at(0)); }

TEST(Sockdiag, AConnectionWithAllFigures) {
    const auto socket =
        parsed("socket 10.2.0.7:80 192.0.2.1:40000 cookie=0x500000007 inode=811 uid=33 rqueue=12 wqueue=34 drops=5 "
               "received=1000 acked=2001 sent=2500 again=500 retrans=2 in=10 out=11 rtt=1500 cwnd=10 backoff=3 if=2");
    ASSERT_TRUE(socket && socket->tcp);
    EXPECT_EQ(socket->family, AF_INET);
    EXPECT_EQ(stateName(socket->state), "ESTABLISHED");
    EXPECT_EQ(addressText(AF_INET, socket->ends.address), "10.2.0.7");
    EXPECT_EQ(addressText(AF_INET, socket->ends.peer), "192.0.2.1");
    EXPECT_EQ(socket->ends.port, 80);
    EXPECT_EQ(socket->ends.peer_port, 40000);
    EXPECT_EQ(socket->ends.interface, 2U);
    EXPECT_EQ(socket->cookie, 0x500000007U);
    EXPECT_EQ(socket->inode, 811U);
    EXPECT_EQ(socket->uid, 33U);
    EXPECT_EQ(socket->receive_queue, 12U);
    EXPECT_EQ(socket->send_queue, 34U);
    EXPECT_EQ(socket->drops, 5U);
    const auto& tcp = *socket->tcp;
    EXPECT_TRUE(tcp.hasBytes && tcp.hasSent);
    EXPECT_EQ(tcp.received, 1000U);
    EXPECT_EQ(tcp.acknowledged, 2001U);
    EXPECT_EQ(tcp.sent, 2500U);
    EXPECT_EQ(tcp.retransmitted_bytes, 500U);
    EXPECT_EQ(tcp.retransmitted, 2U);
    EXPECT_EQ(tcp.segments_in, 10U);
    EXPECT_EQ(tcp.segments_out, 11U);
    EXPECT_EQ(tcp.rtt_us, 1500U);
    EXPECT_EQ(tcp.window, 10U);
    EXPECT_EQ(tcp.backoff, 3U);
}

TEST(Sockdiag, BothFamiliesAndStates) {
    const auto six = parsed("socket [2001:db8::7]:443 [::]:0 state=LISTEN wqueue=128");
    ASSERT_TRUE(six);
    EXPECT_EQ(six->family, AF_INET6);
    EXPECT_EQ(stateName(six->state), "LISTEN");
    EXPECT_EQ(addressText(AF_INET6, six->ends.address), "2001:db8::7");
    EXPECT_EQ(addressText(AF_INET6, six->ends.peer), ""); // any
    EXPECT_FALSE(six->tcp);
    EXPECT_FALSE(six->drops);
    EXPECT_EQ(addressText(AF_INET6, parsed("socket [::ffff:10.0.0.1]:1 [::]:0")->ends.address), "::ffff:10.0.0.1");
    for (auto state : {"SYN_SENT", "SYN_RECV", "FIN_WAIT1", "FIN_WAIT2", "TIME_WAIT", "CLOSE", "CLOSE_WAIT", "LAST_ACK",
                       "CLOSING"}) {
        const auto socket = parsed("socket 0.0.0.0:1 0.0.0.0:0 state=" + std::string(state));
        ASSERT_TRUE(socket);
        EXPECT_EQ(stateName(socket->state), state);
    }
    EXPECT_EQ(stateName(static_cast<SocketState>(0)), "");
    EXPECT_EQ(stateName(static_cast<SocketState>(14)), "");
}

// Kernels before 4.2 have no bytes, those before 4.19 do not tell what was sent again.
TEST(Sockdiag, ShorterInfoOfOlderKernels) {
    const std::string line = "socket 10.2.0.7:80 192.0.2.1:4 received=7 acked=8 in=3 out=4 sent=9 rtt=5 info=";
    const auto tiny = parsed(line + "104"), older = parsed(line + "144"), old = parsed(line + "192"),
               odd = parsed(line + "0");
    ASSERT_TRUE(tiny && tiny->tcp && older && older->tcp && old && old->tcp && odd && odd->tcp);
    EXPECT_FALSE(tiny->tcp->hasBytes);
    EXPECT_EQ(tiny->tcp->rtt_us, 5U);
    EXPECT_EQ(tiny->tcp->received, 0U);
    for (const auto& socket : {older, old}) {
        EXPECT_TRUE(socket->tcp->hasBytes);
        EXPECT_FALSE(socket->tcp->hasSent);
        EXPECT_EQ(socket->tcp->received, 7U);
        EXPECT_EQ(socket->tcp->segments_in, 3U);
    }
    EXPECT_FALSE(odd->tcp->hasBytes);
}

TEST(Sockdiag, WhatIsCutOrOfAnotherKindIsNotRead) {
    const auto whole = payloads("socket 10.2.0.7:80 192.0.2.1:4 cookie=9 received=7 drops=1").at(0);
    for (size_t size = 0; size < 72; size++) EXPECT_FALSE(parseInetSocket(whole.substr(0, size))) << size;
    for (size_t size = 72; size < whole.size(); size++) {
        const auto cut = parseInetSocket(whole.substr(0, size));
        ASSERT_TRUE(cut);
        EXPECT_EQ(cut->cookie, 9U);
    }
    auto other = whole;
    other[0] = AF_UNIX;
    EXPECT_FALSE(parseInetSocket(other));
    other = whole;
    for (const char state : {'\0', '\x0e', 'd'}) {
        other[1] = state;
        EXPECT_FALSE(parseInetSocket(other));
    }
}

TEST(Sockdiag, SocketsOfTheMachineItself) {
    const auto all = payloads("unix 77 state=LISTEN rqueue=3 wqueue=128\nunix 78 type=2 state=CLOSE");
    const auto listener = parseUnixSocket(all.at(0)), other = parseUnixSocket(all.at(1));
    ASSERT_TRUE(listener && other);
    EXPECT_EQ(listener->inode, 77U);
    EXPECT_EQ(stateName(listener->state), "LISTEN");
    EXPECT_EQ(listener->receive_queue, 3U);
    EXPECT_EQ(listener->send_queue, 128U);
    EXPECT_EQ(other->type, SOCK_DGRAM);
    for (size_t size = 0; size < 16; size++) EXPECT_FALSE(parseUnixSocket(all[0].substr(0, size))) << size;
    EXPECT_FALSE(parseUnixSocket(payloads("socket 10.2.0.7:80 192.0.2.1:4").at(0)));
}

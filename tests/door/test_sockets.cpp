// Questions for sockets of the own network namespace to the real kernel, by cookie.
#include "tests/door/loopback.h"

#include <cerrno>
#include <set>
#include <vector>

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>

// Opens the socket and lists those of a port; none: something failed.
static std::vector<InetSocket> listed(Netlink& netlink, uint16_t port) {
    Contents answer;
    auto list = listRequest(IPPROTO_TCP, AF_INET);
    const bool good = netlink.open(NETLINK_SOCK_DIAG) && netlink.ask(list, answer) == Asked::Whole;
    return good ? socketsOf(answer.view(), port) : std::vector<InetSocket>();
}

TEST(SocketQuestions, SeveralSocketsAreAskedForAtOnce) {
    Loopback loopback(16);
    ASSERT_GT(loopback.port, 0);
    Netlink netlink;
    Contents answer;
    const auto all = listed(netlink, loopback.port);
    ASSERT_EQ(all.size(), 33U); // both ends of each, and the listener
    const auto requests = singleRequests(all);
    ASSERT_EQ(requests.size(), Netlink::MostAtOnce);

    auto several = joined(requests);
    ASSERT_EQ(netlink.askMany(several, answer), Asked::Whole);
    const auto asked = socketsOf(answer.view(), loopback.port);
    ASSERT_EQ(asked.size(), requests.size());
    std::set<uint64_t> cookies;
    for (const auto& socket : asked) {
        cookies.insert(socket.cookie);
        EXPECT_EQ(socket.state, SocketState::Established);
        EXPECT_TRUE(socket.tcp && socket.drops);
    }
    EXPECT_EQ(cookies.size(), requests.size());

    loopback.end(3), loopback.end(7);
    several = joined(requests);
    ASSERT_EQ(netlink.askMany(several, answer), Asked::Whole); // what has ended has no answer
    EXPECT_EQ(socketsOf(answer.view(), loopback.port).size(), requests.size() - 4);
    several.clear();
    EXPECT_EQ(netlink.askMany(several, answer), Asked::Whole);
    EXPECT_EQ(answer.size, 0U);
}

TEST(SocketQuestions, TooManyAtOnceAndDamagedOnesAreRefused) {
    Loopback loopback(17);
    ASSERT_GT(loopback.port, 0);
    Netlink netlink;
    Contents answer;
    const auto requests = singleRequests(listed(netlink, loopback.port));
    ASSERT_EQ(requests.size(), 34U);
    auto several = joined(requests, 33);
    errno = 0;
    EXPECT_EQ(netlink.askMany(several, answer), Asked::Failed);
    EXPECT_EQ(errno, EMSGSIZE);
    several = requests[0];
    several[0] = several[1] = 0; // its length
    EXPECT_EQ(netlink.askMany(several, answer), Asked::Failed);
    EXPECT_EQ(errno, EINVAL);
    several = joined(requests, 32); // and then it works
    EXPECT_EQ(netlink.askMany(several, answer), Asked::Whole);
    EXPECT_EQ(socketsOf(answer.view(), loopback.port).size(), 32U);
}

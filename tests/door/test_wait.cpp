// Clocks, signals, the pause and netlink on the real kernel.
#include "base/clock.h"
#include "base/host.h"
#include "base/netlink.h"
#include "base/wait.h"
#include "tests/world/walk.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <set>
#include <string>

#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

static int64_t readNanoseconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

TEST(Clock, GoesOn) {
    const int64_t before = readNanoseconds(CLOCK_MONOTONIC) / 1000, now = getMonotonic();
    EXPECT_LE(before, now);
    EXPECT_LE(now, readNanoseconds(CLOCK_MONOTONIC) / 1000);
    EXPECT_GE(getBoottime() + 1, now);
    EXPECT_NEAR(static_cast<double>(getRealtime()), static_cast<double>(readNanoseconds(CLOCK_REALTIME)) / 1e6, 5000);
}

TEST(Clock, OfAProcess) {
    if (!cpuClocksMatchProc()) GTEST_SKIP() << "this /proc belongs to another pid namespace";
    while (readNanoseconds(CLOCK_PROCESS_CPUTIME_ID) < 2000000) {
    } // some work
    const auto before = static_cast<uint64_t>(readNanoseconds(CLOCK_PROCESS_CPUTIME_ID));
    const auto own = getCpuClock(getpid());
    const auto after = static_cast<uint64_t>(readNanoseconds(CLOCK_PROCESS_CPUTIME_ID));
    ASSERT_TRUE(own);
    EXPECT_GE(*own, before);
    EXPECT_LE(*own, after);
    EXPECT_GE(getOwnCpu(), after);
    EXPECT_EQ(getOwnPid(), getpid());
    const pid_t child = fork();
    if (child == 0) _exit(0);
    waitpid(child, nullptr, 0);
    EXPECT_FALSE(getCpuClock(child)); // reaped
    EXPECT_FALSE(getCpuClock(0));
    EXPECT_FALSE(getCpuClock(-1));
}

TEST(HostFacts, AreUnames) {
    utsname name{};
    ASSERT_EQ(uname(&name), 0);
    EXPECT_EQ(getHost().release, name.release);
    EXPECT_EQ(getHost().name, name.nodename);
}

TEST(Wait, UntilAMoment) {
    Signals signals;
    const int64_t start = getMonotonic();
    EXPECT_EQ(waitUntil(start + 30000, signals), Woken::Time);
    EXPECT_GE(getMonotonic(), start + 30000);
    EXPECT_EQ(waitUntil(start, signals), Woken::Time); // a moment that has passed
}

TEST(Wait, ASignalEndsItAndIsAFact) {
    Signals signals;
    EXPECT_EQ(signals.end(), 0);
    raise(SIGWINCH);
    EXPECT_EQ(waitUntil(getMonotonic() + 10000000, signals), Woken::Signal);
    EXPECT_TRUE(signals.takeResized());
    EXPECT_FALSE(signals.takeResized());
    raise(SIGTERM);
    raise(SIGINT);
    EXPECT_EQ(waitUntil(getMonotonic() + 10000000, signals), Woken::Signal);
    EXPECT_TRUE(signals.end() == SIGTERM || signals.end() == SIGINT);
    EXPECT_FALSE(signals.pipeClosed());
    const int first = signals.end();
    raise(first == SIGTERM ? SIGINT : SIGTERM);
    EXPECT_EQ(signals.end(), first);
}

TEST(Wait, SomethingToReadEndsIt) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    Signals signals;
    Watched watched[] = {{}, {ends[0], false}};
    EXPECT_EQ(waitUntil(getMonotonic() + 1000, signals, watched), Woken::Time);
    EXPECT_FALSE(watched[1].ready);
    EXPECT_FALSE(waitReady(getMonotonic() + 1000, watched));
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    EXPECT_EQ(waitUntil(getMonotonic() + 10000000, signals, watched), Woken::Ready);
    EXPECT_FALSE(watched[0].ready);
    EXPECT_TRUE(watched[1].ready);
    EXPECT_TRUE(waitReady(getMonotonic() + 10000000, watched));
    close(ends[0]);
    close(ends[1]);
}

// What a child with this standard output says of itself.
template <typename Act> static int statusOf(int output, const Act& act) {
    const pid_t child = fork();
    if (child == 0) {
        dup2(output, STDOUT_FILENO);
        close(output);
        _exit(act());
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + status;
}

TEST(Wait, AReaderThatWentAway) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    EXPECT_EQ(statusOf(ends[1],
                       [] {
                           Signals signals;
                           if (putUntilSignal(signals, "text")) return 1;
                           return errno == EPIPE && signals.pipeClosed() ? 0 : 2;
                       }),
              0);
    close(ends[1]);
}

TEST(Wait, AReaderThatDoesNotRead) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    alarm(30);
    EXPECT_EQ(statusOf(ends[1],
                       [] {
                           Signals signals;
                           raise(SIGINT);
                           const std::string text(1000000, 'x'); // more than a pipe holds
                           return !putUntilSignal(signals, text) && errno == EINTR ? 0 : 1;
                       }),
              0);
    alarm(0);
    close(ends[0]);
    close(ends[1]);
}

// --- Netlink

static std::set<std::string> namesOf(const Contents& answer) {
    std::set<std::string> names;
    for (const nlmsghdr* message : Messages(answer.view())) {
        EXPECT_EQ(message->nlmsg_type, RTM_NEWLINK);
        for (const nlattr* attribute : Attributes(message, sizeof(ifinfomsg)))
            if (mnl_attr_get_type(attribute) == IFLA_IFNAME) names.insert(mnl_attr_get_str(attribute));
    }
    return names;
}

TEST(NetlinkSocket, GivesAllLinks) {
    std::set<std::string> expected;
    auto* all = if_nameindex();
    for (auto* one = all; one && one->if_index; one++) expected.insert(one->if_name);
    if_freenameindex(all);
    Netlink socket;
    ASSERT_TRUE(socket.open(NETLINK_ROUTE));
    auto request = dumpRequest(RTM_GETLINK, ifinfomsg{});
    Contents answer;
    for (int i = 0; i < 3; i++) {
        ASSERT_EQ(socket.ask(request, answer), Asked::Whole) << strerror(errno);
        EXPECT_EQ(namesOf(answer), expected);
    }
    EXPECT_EQ(socket.ask(request, answer, 10), Asked::Failed);
    EXPECT_EQ(errno, EMSGSIZE);
    EXPECT_EQ(socket.ask(request, answer), Asked::Whole); // the rest of that answer is not in this one
    EXPECT_EQ(namesOf(answer), expected);
}

TEST(NetlinkSocket, TellsWhyItFails) {
    Netlink socket;
    ASSERT_TRUE(socket.open(NETLINK_ROUTE));
    std::string request(mnl_nlmsg_size(sizeof(ifinfomsg)), '\0');
    nlmsghdr header{};
    header.nlmsg_len = static_cast<uint32_t>(request.size());
    header.nlmsg_type = RTM_GETLINK;
    header.nlmsg_flags = NLM_F_REQUEST;
    memcpy(request.data(), &header, sizeof header);
    ifinfomsg body{};
    body.ifi_index = 0x7ffffff0; // there is none
    memcpy(request.data() + NLMSG_HDRLEN, &body, sizeof body);
    Contents answer;
    EXPECT_EQ(socket.ask(request, answer), Asked::Failed);
    EXPECT_EQ(errno, ENODEV);
    std::string empty;
    EXPECT_EQ(socket.ask(empty, answer), Asked::Failed);
    auto good = dumpRequest(RTM_GETLINK, ifinfomsg{});
    EXPECT_EQ(socket.ask(good, answer), Asked::Whole); // goes on after a failure
    EXPECT_FALSE(socket.open(31));                     // no such protocol
    EXPECT_FALSE(socket.isOpen());
}

TEST(NetlinkSocket, HasNoNewsAtFirst) {
    Netlink links, events;
    Contents news;
    ASSERT_TRUE(links.open(NETLINK_ROUTE, RTMGRP_LINK, 1 << 20));
    ASSERT_TRUE(events.open(NETLINK_KOBJECT_UEVENT, 1, 1 << 20));
    EXPECT_EQ(links.overruns(), 0U);
    while (events.take(news)) EXPECT_NE(news.view().find('@'), news.view().npos); // of this machine's own doing
    EXPECT_EQ(errno, EAGAIN);
}

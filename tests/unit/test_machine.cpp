// The made-up machine's clocks, held files, netlink, waits and helpers: the twin of base/door/.
#include "base/clock.h"
#include "base/filestatus.h"
#include "base/held.h"
#include "base/helper.h"
#include "base/host.h"
#include "base/netlink.h"
#include "base/outfile.h"
#include "base/root.h"
#include "base/terminal.h"
#include "base/wait.h"
#include "tests/unit/made.h"
#include "tests/world/walk.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>

#include <gtest/gtest.h>

using State = Helper::State;

TEST(Root, ChangesOnlyTheMachinesFiles) {
    EXPECT_EQ(Root().path("/proc/stat"), "/proc/stat");
    EXPECT_EQ(Root("/").path("/proc/stat"), "/proc/stat");
    EXPECT_FALSE(Root("/").isOther());
    const Root root("/host/");
    EXPECT_TRUE(root.isOther());
    EXPECT_EQ(root.path("/proc"), "/host/proc");
    EXPECT_EQ(root.path("/sys/block/sda"), "/host/sys/block/sda");
    EXPECT_EQ(root.path("/run/udev"), "/host/run/udev");
    EXPECT_EQ(root.path("/etc/hostname"), "/host/etc/hostname");
    EXPECT_EQ(root.path("/processes"), "/processes");
    EXPECT_EQ(root.path("/home"), "/home");
    EXPECT_EQ(root.path("proc"), "proc");
    EXPECT_EQ(root.path(""), "");
}

TEST(MadeClocks, GoTogetherUnlessAStepSaysOtherwise) {
    const Made machine(
        "clock 1000.000\nmono 50.000001\nboot 60\nstep 1\nstep 2\nclock 1005.500\nstep 3\nclockstep -2000\n"
        "step 4\nasleep 10000\nstep 5\nclock 900.000\n");
    Signals signals;
    const auto times = [] { return std::vector{getMonotonic(), getBoottime(), getRealtime()}; };
    EXPECT_EQ(times(), (std::vector<int64_t>{50000001, 60000000, 1000000}));
    EXPECT_EQ(waitUntil(getMonotonic() + 1000000, signals), Woken::Time);
    EXPECT_EQ(times(), (std::vector<int64_t>{51000001, 61000000, 1001000}));
    waitUntil(getMonotonic() + 1000000, signals);
    EXPECT_EQ(times(), (std::vector<int64_t>{55500001, 65500000, 1005500}));
    waitUntil(getMonotonic() + 1000000, signals);
    EXPECT_EQ(times(), (std::vector<int64_t>{56500001, 66500000, 1004500}));
    waitUntil(getMonotonic() + 1000000, signals);
    EXPECT_EQ(times(), (std::vector<int64_t>{57500001, 77500000, 1015500}));
    waitUntil(getMonotonic() + 1000000, signals);
    EXPECT_EQ(times(), (std::vector<int64_t>{58500001, 78500000, 900000}));
    EXPECT_THROW(waitUntil(getMonotonic() + 5, signals), TKilled);
    EXPECT_EQ(machine.log(), "wait 1000000\nwait 1000000\nwait 1000000\nwait 1000000\nwait 1000000\nwait 5\n");
}

TEST(MadeClocks, OfProcesses) {
    Made machine("cpuclock 7 1500\nowncpu 99\npid 31\nkernel 4.18.0-el8\nhost box\nstep 1\ncpuclock 7 gone\n");
    EXPECT_EQ(getCpuClock(7), 1500U);
    EXPECT_FALSE(getCpuClock(8));
    EXPECT_EQ(getOwnCpu(), 99U);
    EXPECT_EQ(getOwnPid(), 31);
    EXPECT_TRUE(cpuClocksMatchProc());
    EXPECT_EQ(getHost().release, "4.18.0-el8");
    EXPECT_EQ(getHost().name, "box");
    machine.step();
    EXPECT_FALSE(getCpuClock(7));
}

TEST(MadeWaits, EndEarlyAndLate) {
    const Made machine("terminal\nsize 80 24\nstep 1\nlate 30\nstep 2\nearly 200\nsignal WINCH\nsize 120 40\n"
                       "step 3\nearly 100\nfile /x <<E\nE\nstep 4\nearly 300\nkeys q\\s\nstep 5\nsignal TERM\n");
    Signals signals;
    const Keys keys;
    const int64_t start = getMonotonic();
    EXPECT_EQ(waitUntil(start + 1000000, signals), Woken::Time);
    EXPECT_EQ(getMonotonic(), start + 1030000);
    EXPECT_EQ(waitUntil(start + 2000000, signals), Woken::Signal);
    EXPECT_EQ(getMonotonic(), start + 1230000);
    EXPECT_TRUE(signals.takeResized());
    EXPECT_EQ(getTerminalSize()->columns, 120);
    Watched watched[] = {{keys.handle(), false}};
    EXPECT_EQ(waitUntil(start + 2000000, signals, watched), Woken::Ready); // step 3 brings nothing that wakes
    EXPECT_EQ(getMonotonic(), start + 1530000);
    Keys again;
    EXPECT_EQ(again.take(), 'q');
    EXPECT_EQ(again.take(), ' ');
    EXPECT_FALSE(again.take());
    EXPECT_EQ(waitUntil(start + 2000000, signals, watched), Woken::Signal);
    EXPECT_EQ(getMonotonic(), start + 2000000);
    EXPECT_EQ(signals.end(), SIGTERM);
}

TEST(MadeFiles, AreHeld) {
    Made machine("file /proc/stat <<E\none\nE\nfile /sys/a/b <<E\nold\nE\nstep 1\nfile /proc/stat <<E\ntwo\nE\n"
                 "gone /sys/a\nstep 2\nfile /sys/a/b <<E\nnew\nE\nfail read /proc/stat EIO\n");
    HeldFile stat(Root(), "/proc/stat"), byPath(Root(), "/sys/a/b"), inPlace;
    HeldDirectory place;
    Contents text;
    ASSERT_TRUE(place.open("/sys/a"));
    ASSERT_TRUE(inPlace.open(place, "b"));
    ASSERT_TRUE(stat.read(text));
    EXPECT_EQ(text.view(), "one\n");
    EXPECT_FALSE(stat.changed());
    ASSERT_TRUE(byPath.read(text));
    machine.step();
    EXPECT_TRUE(stat.changed());
    EXPECT_FALSE(stat.changed());
    ASSERT_TRUE(stat.read(text));
    EXPECT_EQ(text.view(), "two\n");
    EXPECT_FALSE(byPath.read(text));
    EXPECT_EQ(errno, ENOENT);
    machine.step();
    ASSERT_TRUE(byPath.read(text)); // opened again
    EXPECT_EQ(text.view(), "new\n");
    EXPECT_FALSE(inPlace.read(text)); // another file of the same name
    EXPECT_EQ(errno, ENODEV);
    EXPECT_FALSE(stat.read(text));
    EXPECT_EQ(errno, EIO);
}

TEST(MadeFiles, DirectoriesAreListedAgain) {
    Made machine(
        "file /g/one <<E\nE\ndir /g/two\nlink /g/three /x\ninode /g/two 77\nstep 1\ngone /g/one\nstep 2\ngone /g\n");
    HeldDirectory held;
    Listing listing;
    ASSERT_TRUE(held.open("/g"));
    const auto names = [&] {
        std::string all;
        listing.start(held);
        for (Listing::Entry entry; listing.next(entry);)
            all += std::string(entry.name) + (entry.kind == Listing::Kind::Directory ? "/" : "") + " ";
        return all;
    };
    EXPECT_EQ(names(), "one two/ three ");
    machine.step();
    EXPECT_EQ(names(), "two/ three ");
    machine.step();
    EXPECT_EQ(names(), "");
    EXPECT_FALSE(held.open("/g"));
}

TEST(MadeFiles, AreWrittenAndReadAgain) {
    const Made machine(
        "file /data <<E\n12345\nE\nstatx /data mtime=100.5 dev=253:7\ndir /var\nfail write /full ENOSPC\n");
    OutFile file;
    Contents text;
    ASSERT_TRUE(file.open("/var/log", OutFile::How::New));
    EXPECT_TRUE(file.write("abc"));
    EXPECT_TRUE(file.truncate(2));
    EXPECT_TRUE(file.open("/var/log", OutFile::How::Append));
    EXPECT_TRUE(file.write("d"));
    ASSERT_TRUE(readFile("/var/log", text));
    EXPECT_EQ(text.view(), "abd");
    uint64_t size = 0;
    EXPECT_TRUE(file.size(size));
    EXPECT_EQ(size, 3U);
    FileStatus status;
    ASSERT_TRUE(getFileStatus("/data", status));
    EXPECT_EQ(status.size, 6U);
    EXPECT_EQ(status.modified_ns, 100500000000);
    EXPECT_EQ(status.major, 253U);
    EXPECT_EQ(status.minor, 7U);
    EXPECT_FALSE(getFileStatus("/none", status));
    EXPECT_FALSE(file.open("/full", OutFile::How::New) && file.write("x"));
    EXPECT_EQ(errno, ENOSPC);
}

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

// --- Helpers: the pure part is the program's own

static Question space(const std::string& dir, int64_t patience_us = 1000000) {
    Question question;
    question.words = {dir};
    question.patience_us = patience_us;
    return question;
}

static Question tool(std::vector<std::string> words, int64_t patience_us = 1000000) {
    Question question;
    question.kind = Question::Kind::Tool;
    question.words = std::move(words);
    question.patience_us = patience_us;
    return question;
}

TEST(Helper, AnswersInOneGo) {
    const Made machine("fs /a 4096 10 5 4 100 50\nfs /b 1024 7 1 1 0 0\nspeed eth0 25000\nfile /f <<E\ntext\nE\n");
    Helper helper;
    Answer answer;
    const auto a = helper.ask(space("/a")), b = helper.ask(space("/b")), none = helper.ask(space("/none"));
    EXPECT_EQ(machine.log(), "");
    helper.await(getMonotonic() + 1000000);
    EXPECT_EQ(helper.take(a, answer), State::Answered);
    EXPECT_EQ(answer.space.avail, 4U);
    EXPECT_EQ(answer.took_us, 0);
    EXPECT_EQ(helper.take(a, answer), State::Unknown); // used up
    EXPECT_EQ(helper.take(b, answer), State::Answered);
    EXPECT_EQ(answer.space.block, 1024U);
    EXPECT_EQ(helper.take(none, answer), State::Answered);
    EXPECT_EQ(answer.error, ENOENT);
    Question speed = space("eth0"), file = space("/f");
    speed.kind = Question::Kind::Speed;
    file.kind = Question::Kind::File;
    const auto s = helper.ask(speed), f = helper.ask(file);
    EXPECT_EQ(helper.take(s, answer), State::Asked); // take asks, and a later one has the answer
    EXPECT_EQ(helper.take(s, answer), State::Answered);
    EXPECT_EQ(answer.mbit, 25000);
    EXPECT_EQ(helper.take(f, answer), State::Answered);
    EXPECT_EQ(answer.text, "text\n");
    EXPECT_EQ(machine.log(), "helper\n"); // one process for all
}

TEST(Helper, WaitsNoLongerThanItMay) {
    const Made machine("fs /slow 1 1 1 1 1 1\nanswerafter 300 /slow\n");
    Helper helper;
    Answer answer;
    const int64_t start = getMonotonic();
    const auto ticket = helper.ask(space("/slow"));
    helper.await(start + 100000);
    EXPECT_EQ(getMonotonic(), start + 100000);
    EXPECT_EQ(helper.take(ticket, answer), State::Asked);
    EXPECT_EQ(answer.took_us, 100000);
    helper.await(start + 1000000);
    EXPECT_EQ(getMonotonic(), start + 300000);
    EXPECT_EQ(helper.take(ticket, answer), State::Answered);
    EXPECT_EQ(answer.took_us, 300000);
}

TEST(Helper, AbandonsWhatHangs) {
    Made machine("fs /a 1 1 1 1 1 1\nfs /x 9 1 1 1 1 1\nhang /x\nstep 1\nunhang /x\n");
    Helper helper;
    Answer answer;
    const int64_t start = getMonotonic();
    const auto x = helper.ask(space("/x")), a = helper.ask(space("/a"));
    helper.await(start + 5000000);
    EXPECT_EQ(helper.take(a, answer), State::Answered); // by another worker
    EXPECT_EQ(helper.take(x, answer), State::Late);
    EXPECT_EQ(answer.asked_us, start);
    EXPECT_EQ(helper.abandoned(), 1U);
    EXPECT_LE(getMonotonic(), start + 1000002); // what is late is not waited for
    EXPECT_EQ(machine.log(), "helper\nhelper\n");
    machine.step();
    EXPECT_EQ(helper.take(x, answer), State::Answered); // late, and told so
    EXPECT_EQ(answer.space.block, 9U);
    EXPECT_GT(answer.took_us, 1000000);
    EXPECT_EQ(helper.abandoned(), 0U);
}

TEST(Helper, RefusesWhenTooManyHang) {
    Made machine("hang /1\nhang /2\nhang /3\nhang /4\nfs /a 1 1 1 1 1 1\nstep 1\nfs /1 1 1 1 1 1 1\nunhang /1\n");
    Helper helper;
    Answer answer;
    std::vector<Helper::Ticket> stuck;
    for (const char* dir : {"/1", "/2", "/3", "/4"}) stuck.push_back(helper.ask(space(dir)));
    const auto a = helper.ask(space("/a"));
    helper.await(getMonotonic() + 20000000);
    for (const auto ticket : stuck) EXPECT_EQ(helper.take(ticket, answer), State::Late);
    EXPECT_EQ(helper.take(a, answer), State::Refused);
    EXPECT_EQ(helper.take(a, answer), State::Unknown);
    EXPECT_EQ(machine.log(), "helper\nhelper\nhelper\nhelper\n");
    machine.step();
    EXPECT_EQ(helper.take(stuck[0], answer), State::Answered);
    const auto again = helper.ask(space("/a"));
    helper.pump();
    EXPECT_EQ(helper.take(again, answer), State::Answered);
    helper.forget(stuck[1]);
    EXPECT_EQ(helper.take(stuck[1], answer), State::Unknown);
}

// Of those who forget late questions, each ask again would cost another worker.
TEST(Helper, WhatIsForgottenHoldsNoWorker) {
    const Made machine("hang /1\nfs /a 1 1 1 1 1 1\n");
    Helper helper;
    Answer answer;
    for (int i = 0; i < 8; i++) {
        const auto stuck = helper.ask(space("/1"));
        helper.await(getMonotonic() + 20000000);
        EXPECT_EQ(helper.take(stuck, answer), State::Late);
        EXPECT_EQ(helper.abandoned(), 1U);
        helper.forget(stuck);
    }
    const auto a = helper.ask(space("/a"));
    helper.await(getMonotonic() + 20000000);
    EXPECT_EQ(helper.take(a, answer), State::Answered);
    EXPECT_EQ(helper.abandoned(), 0U);
}

// What is stuck is counted together, whoever asked: a third of it ends the asking of tools.
TEST(Helper, ToolsAndWorkersShareTheLimit) {
    const Made machine("hang /1\nhang /2\nhang /3\nfs /a 1 1 1 1 1 1\ntool vgs <<E\nout\nE\n");
    Helper helper;
    Answer answer;
    for (const char* dir : {"/1", "/2"}) helper.ask(space(dir));
    helper.await(getMonotonic() + 20000000);
    EXPECT_EQ(helper.abandoned(), 2U);
    const auto first = helper.ask(tool({"vgs"}));
    helper.await(getMonotonic() + 1000000);
    EXPECT_EQ(helper.take(first, answer), State::Answered);
    helper.ask(space("/3"));
    helper.await(getMonotonic() + 20000000);
    EXPECT_EQ(helper.abandoned(), 3U);
    const auto second = helper.ask(tool({"vgs"}));
    const auto a = helper.ask(space("/a"));
    helper.await(getMonotonic() + 20000000);
    EXPECT_EQ(helper.take(second, answer), State::Refused);
    EXPECT_EQ(helper.take(a, answer), State::Answered); // the last worker goes on
}

// A sample waits for filesystems that answer at once, not for a tool that somebody else has asked.
TEST(Helper, AwaitWithoutTools) {
    const Made machine("fs /a 1 1 1 1 1 1\nanswerafter 20 /a\ntool lvs <<E\nout\nE\nanswerafter 500 lvs\n");
    Helper helper;
    Answer answer;
    const int64_t start = getMonotonic();
    const auto lvs = helper.ask(tool({"lvs"})), a = helper.ask(space("/a"));
    helper.await(start + 2000000, Helper::Await::NoTools);
    EXPECT_EQ(getMonotonic(), start + 20000);
    EXPECT_EQ(helper.take(a, answer), State::Answered);
    EXPECT_EQ(helper.take(lvs, answer), State::Asked);
    helper.await(start + 2000000);
    EXPECT_EQ(getMonotonic(), start + 500000);
    EXPECT_EQ(helper.take(lvs, answer), State::Answered);
}

TEST(Helper, ToolsOneAfterTheOther) {
    const Made machine("tool lvs --x <<E\nout\nE\nanswerafter 20 lvs --x\nhang vgs\ntoolstatus 5 lvs --x\n");
    Helper helper;
    Answer answer;
    const int64_t start = getMonotonic();
    const auto vgs = helper.ask(tool({"vgs"}, 50000)), lvs = helper.ask(tool({"lvs", "--x"}));
    const auto none = helper.ask(tool({"nosuch"}));
    helper.await(start + 1000000);
    EXPECT_EQ(helper.take(vgs, answer), State::Answered);
    EXPECT_EQ(answer.error, ETIMEDOUT);
    EXPECT_EQ(helper.take(lvs, answer), State::Answered);
    EXPECT_EQ(answer.text, "out\n");
    EXPECT_EQ(answer.status, 5);
    EXPECT_EQ(answer.took_us, 20000);
    EXPECT_EQ(helper.take(none, answer), State::Answered);
    EXPECT_EQ(answer.status, 127);
    EXPECT_EQ(machine.log(), "tool vgs\ntool lvs --x\ntool nosuch\n");
    EXPECT_EQ(helper.abandoned(), 0U);
}

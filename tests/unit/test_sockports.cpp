// Local ports that run out.
#include "tests/unit/sockmade.h"

#include <gtest/gtest.h>

TEST(SockRows, LocalPortsThatRunOut) {
    std::string lines = "netlink sockdiag tcp4 <<E\n";
    for (unsigned i = 0; i < 60; i++)
        lines += "socket 10.0.0.1:" + std::to_string(40000 + i) + " 10.1.1." + (i < 55 ? "9" : "8") +
                 ":5432 cookie=" + std::to_string(i + 1) + " inode=0\n";
    Made made("text /proc/sys/net/ipv4/ip_local_port_range \"40000\\t40099\\n\"\n" + snmp(1, 1) + lines + "E\n");
    Sampled sampled;
    sampled.pass({});
    ASSERT_TRUE(sampled.sample.ports);
    EXPECT_EQ(sampled.sample.ports->ports, 55U);
    Interval interval;
    sockRows(sampled.sample, ProcSample(), ViewRow(), interval);
    ASSERT_EQ(interval.limits.rows.size(), 1U);
    EXPECT_EQ(interval.limits.rows[0].name, "ports to 10.1.1.9:5432");
    EXPECT_EQ(interval.limits.rows[0].limit, 100U);
}

// 30 connections to a peer and 40 to the same one that wait in TIME_WAIT, of them 10 on loopback addresses.
static std::string waitingPorts(const std::string& reuse, unsigned inWait) {
    std::string lines = "netlink sockdiag tcp4 <<E\nsocket 0.0.0.0:40001 0.0.0.0:0 state=LISTEN cookie=999 inode=0\n";
    const auto add = [&](unsigned port, const std::string& peer, const std::string& more) {
        lines += "socket 10.0.0.1:" + std::to_string(port) + " " + peer + ":5432 cookie=" + std::to_string(port) +
                 " inode=0" + more + "\n";
    };
    for (unsigned i = 0; i < 30; i++) add(40010 + i, "10.1.1.9", "");
    for (unsigned i = 0; i < inWait; i++) add(40040 + i, "10.1.1.9", " state=TIME_WAIT");
    for (unsigned i = 0; i < inWait; i++) add(40040 + i, "127.0.0.1", " state=TIME_WAIT");
    for (unsigned i = 0; i < inWait; i++) add(40040 + i, "127.0.0.2", " state=TIME_WAIT");
    add(40001, "10.1.1.9", " state=TIME_WAIT"); // its other end began it
    add(39999, "10.1.1.9", " state=TIME_WAIT"); // not of the kernel's choice
    return "text /proc/sys/net/ipv4/ip_local_port_range \"40000\\t40099\\n\"\n" +
           (reuse.empty() ? reuse : "text /proc/sys/net/ipv4/tcp_tw_reuse \"" + reuse + "\\n\"\n") +
           "file /proc/net/sockstat <<E\nTCP: inuse 31 orphan 0 tw " + std::to_string(3 * inWait + 2) +
           " alloc 31 mem 1\nE\n" + lines + "E\n";
}

TEST(SockSampler, PortsOfConnectionsInTimeWaitAreHeld) {
    struct Setting {
        const char* reuse;
        uint64_t ports;
    };
    for (const auto& [reuse, ports] : {Setting{"", 70}, {"0", 70}, {"2", 70}, {"1", 0}}) {
        SCOPED_TRACE(reuse);
        Made made(snmp(1, 1) + waitingPorts(reuse, 40));
        Sampled sampled;
        sampled.pass({});
        const auto& use = sampled.sample.ports;
        EXPECT_EQ(use ? use->ports : 0, ports);
        EXPECT_TRUE(!use || use->peer.peer[0] == 10);
        EXPECT_EQ(sampled.sample.table.size(), 31U);
    }
}

TEST(SockSampler, PortsInTimeWaitOnLoopbackAreTakenAgain) {
    for (const auto* reuse : {"0", "2"}) {
        std::string lines = "netlink sockdiag tcp6 <<E\n";
        for (unsigned i = 0; i < 60; i++)
            lines += "socket [::1]:" + std::to_string(40000 + i) + " [::1]:80 cookie=" + std::to_string(i + 1) +
                     " inode=0 state=TIME_WAIT\n";
        Made made(snmp(1, 1) + "text /proc/sys/net/ipv4/ip_local_port_range \"40000\\t40099\\n\"\n" +
                  "text /proc/sys/net/ipv4/tcp_tw_reuse \"" + reuse + "\\n\"\n" +
                  "file /proc/net/sockstat <<E\nTCP: inuse 0 orphan 0 tw 60 alloc 0 mem 1\nE\n" + lines + "E\n");
        Sampled sampled;
        sampled.pass({});
        EXPECT_EQ(sampled.sample.ports ? sampled.sample.ports->ports : 0, reuse[0] == '0' ? 60U : 0U);
    }
}

TEST(SockSampler, ManyPortsInTimeWaitAreNotCountedInEachPass) {
    const auto machine = [](unsigned waiting) {
        std::string lines = "netlink sockdiag tcp4 <<E\n";
        for (unsigned i = 0; i < waiting; i++)
            lines += "socket 10.0.0.1:" + std::to_string(40000 + i) + " 10.1.1.9:80 cookie=" + std::to_string(i + 1) +
                     " inode=0 state=TIME_WAIT\n";
        return "file /proc/net/sockstat <<E\nTCP: inuse 0 orphan 0 tw " + std::to_string(waiting) +
               " alloc 0 mem 1\nE\n" + lines + "E\n";
    };
    Made made("text /proc/sys/net/ipv4/ip_local_port_range \"40000\\t46999\\n\"\n" + snmp(1, 1) + machine(5000) +
              "step 1\n" + machine(6000) + "step 2\n" + machine(3000));
    Sampled sampled;
    const auto ports = [&] { return sampled.sample.ports ? sampled.sample.ports->ports : 0; };
    sampled.pass({});
    EXPECT_EQ(ports(), 5000U);
    made.step();
    sampled.pass({});
    EXPECT_EQ(ports(), 5000U); // a second later
    made.world.advance(10000000);
    sampled.pass({});
    EXPECT_EQ(ports(), 6000U);
    made.step();
    sampled.pass({});
    EXPECT_EQ(ports(), 0U); // less than half of them
}

// Somebody changes the settings while the sampler is at work.
TEST(SockSampler, SettingsAreReadAgainWhenConnectionsMove) {
    const auto settings = [](const char* range, const char* somaxconn) {
        return std::string("text /proc/sys/net/ipv4/ip_local_port_range \"") + range +
               "\\n\"\ntext /proc/sys/net/core/somaxconn \"" + somaxconn + "\\n\"\n";
    };
    Made made(snmp(1, 1) + sockets(1, 1, 0) + settings("40000\\t40099", "128") +
              "file /proc/net/netstat <<E\nTcpExt: ListenOverflows\nTcpExt: 0\nE\nstep 1\n" +
              settings("30000\\t40099", "4096") + "step 2\n" + snmp(2, 1));
    Sampled sampled;
    sampled.pass({});
    EXPECT_EQ(sampled.sample.portRange, 100U);
    EXPECT_EQ(sampled.own().somaxconn, 128U);
    made.step();
    sampled.pass({}); // nothing moved: nothing is read
    EXPECT_EQ(sampled.sample.portRange, 100U);
    made.step();
    sampled.pass({});
    EXPECT_EQ(sampled.sample.portRange, 10100U);
    EXPECT_EQ(sampled.own().somaxconn, 4096U);
}

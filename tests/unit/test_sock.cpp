// What the sampler of sockets asks for, and what it makes of the answers.
#include "model/sock.h"

#include "tests/unit/made.h"

#include <gtest/gtest.h>

static std::string snmp(uint64_t in, uint64_t out) {
    return "file /proc/net/snmp <<E\nTcp: ActiveOpens PassiveOpens InSegs OutSegs RetransSegs\nTcp: 0 0 " +
           std::to_string(in) + " " + std::to_string(out) + " 0\nE\n";
}

// `count` connections; those from `first` on have moved so many segments each way.
static std::string sockets(unsigned count, unsigned first, unsigned segments) {
    std::string lines = "netlink sockdiag tcp4 <<E\n";
    for (unsigned i = 0; i < count; i++) {
        const unsigned moved = i >= first ? segments : 0;
        lines += "socket 10.0.0.1:80 10.1." + std::to_string(i / 250) + "." + std::to_string(i % 250 + 1) +
                 ":4000 cookie=" + std::to_string(i + 1) + " inode=" + std::to_string(i + 100) +
                 " received=" + std::to_string(moved * 10) + " sent=0 in=" + std::to_string(moved) +
                 " out=" + std::to_string(moved) + "\n";
    }
    return lines + "E\n";
}

static std::string descriptors(unsigned pid, unsigned first, unsigned count) {
    std::string lines;
    for (unsigned i = 0; i < count; i++)
        lines += "link /proc/" + std::to_string(pid) + "/fd/" + std::to_string(i + 3) + " socket:[" +
                 std::to_string(first + i + 100) + "]\n";
    return lines;
}

namespace {
struct Sampled {
    Helper helper;
    SockSampler sampler{Root(), helper};
    SockSample sample;
    void pass(const std::vector<Ran>& ran) { sampler.sample(ran, {}, sample); }
    const SockSpace& own() const { return sample.spaces[0]; }
};
} // namespace

static const Ran First{11, 7, 1, true, false, 'S'}, Second{12, 7, 1, true, false, 'S'};
static const Ran FirstAgain{11, 7, 1, false, false, 'S'}, SecondAgain{12, 7, 1, false, false, 'S'};

TEST(SockSampler, NothingIsAskedForWhileTheCountersStandStill) {
    Made made(snmp(0, 0) + sockets(120, 120, 0) + descriptors(11, 0, 100) + descriptors(12, 100, 20) + "step 1\n" +
              sockets(120, 0, 5));
    Sampled sampled;
    sampled.pass({First, Second});
    EXPECT_TRUE(sampled.own().listed);
    EXPECT_EQ(sampled.sample.table.size(), 120U);
    EXPECT_TRUE(sampled.sample.changes.empty());
    made.step();
    sampled.pass({FirstAgain, SecondAgain}); // what the kernel would answer has changed, but its counters have not
    EXPECT_FALSE(sampled.own().listed);
    EXPECT_EQ(sampled.own().asked, 0U);
    EXPECT_TRUE(sampled.sample.changes.empty());
}

TEST(SockSampler, TheSocketsOfWhoRanSufficeWhenTheyExplainAllSegments) {
    Made made(snmp(1, 1) + sockets(120, 120, 0) + descriptors(11, 0, 110) + descriptors(12, 110, 10) + "step 1\n" +
              snmp(11, 11) + sockets(120, 118, 5) + "step 2\n" + snmp(13, 13) + sockets(120, 118, 6) + "step 3\n" +
              snmp(100, 100) + sockets(120, 60, 7));
    Sampled sampled;
    sampled.pass({First, Second});
    made.step();
    sampled.pass({SecondAgain});
    EXPECT_FALSE(sampled.own().listed);
    EXPECT_EQ(sampled.own().asked, 10U); // those of the process that ran
    ASSERT_EQ(sampled.sample.changes.size(), 2U);
    EXPECT_EQ(sampled.own().explained, 20U);
    EXPECT_EQ(sampled.own().received, 100U);
    EXPECT_EQ(sampled.sample.table.slots[sampled.sample.changes[0].socket].owner, 12U);
    made.step();
    sampled.pass({}); // nobody ran: those that moved before are asked for
    EXPECT_FALSE(sampled.own().listed);
    EXPECT_EQ(sampled.own().asked, 2U);
    EXPECT_EQ(sampled.sample.changes.size(), 2U);
    made.step();
    sampled.pass({SecondAgain}); // sockets of the other one moved, too
    EXPECT_TRUE(sampled.own().listed);
    EXPECT_EQ(sampled.sample.changes.size(), 60U);
}

TEST(SockSampler, AnOwnerThatInheritedIsFound) {
    Made made(snmp(1, 1) + sockets(30, 30, 0) + descriptors(11, 0, 30) + "dir /proc/12/fd\nstep 1\n" + snmp(2, 2) +
              sockets(30, 29, 1) + "gone /proc/11/fd/32\nlink /proc/12/fd/9 socket:[129]\nstep 2\n" +
              "link /proc/11/fd/7 socket:[129]\n" + snmp(4, 4) + sockets(30, 29, 3));
    Sampled sampled;
    sampled.pass({First, Second});
    made.step();
    sampled.pass({SecondAgain}); // it got the descriptor over a socket and sent something
    ASSERT_EQ(sampled.sample.changes.size(), 1U);
    const auto& socket = sampled.sample.table.slots[sampled.sample.changes[0].socket];
    EXPECT_EQ(socket.owner, 12U);
    made.step();
    sampled.pass({FirstAgain, SecondAgain});
    EXPECT_EQ(socket.owner, 12U);
}

// --- Other network namespaces

// Namespaces with a process and four connections each, which have moved so many segments.
static std::string namespaces(unsigned count, unsigned segments) {
    std::string lines;
    for (unsigned i = 0; i < count; i++) {
        const auto inode = std::to_string(5000 + i), process = "/proc/" + std::to_string(100 + i);
        lines += "link " + process + "/ns/net net:[" + inode + "]\n";
        lines +=
            "file " + process + "/net/snmp <<E\nTcp: InSegs OutSegs\nTcp: " + std::to_string(4 * segments) + " 0\nE\n";
        lines += "netlink sockdiag tcp4@" + inode + " <<E\n";
        for (unsigned socket = 1; socket <= 4; socket++)
            lines += "socket 10.0.0.1:80 10.1.1." + std::to_string(socket) + ":4000 cookie=" + std::to_string(socket) +
                     " inode=" + std::to_string(10000 + 4 * i + socket) + " rqueue=1 in=" + std::to_string(segments) +
                     "\n";
        lines += "E\n";
    }
    return lines;
}

static std::vector<Ran> processesOf(unsigned count) {
    std::vector<Ran> all;
    for (unsigned i = 0; i < count; i++) all.push_back({static_cast<int>(100 + i), 7, 1, true, false, 'S'});
    return all;
}

// What is gone through in three passes in which all sockets move, and in a fourth in which the namespaces end.
static uint64_t workOf(unsigned count) {
    Made made(snmp(1, 1) + sockets(1, 1, 0) + namespaces(count, 1) + "step 1\n" + namespaces(count, 2) + "step 2\n" +
              namespaces(count, 3) + "step 3\n");
    Sampled sampled;
    const auto all = processesOf(count);
    for (int pass = 0; pass < 3; pass++) {
        sampled.pass(all);
        EXPECT_EQ(sampled.sample.spaces.size(), count + 1);
        EXPECT_EQ(sampled.sample.table.size(), 4 * count + 1) << "pass " << pass;
        EXPECT_EQ(sampled.sample.changes.size(), pass == 0 ? 0 : 4 * count) << "pass " << pass;
        made.step();
    }
    std::vector<GoneProcess> gone;
    for (const auto& one : all) gone.emplace_back().pid = one.pid, gone.back().start = one.start;
    sampled.sampler.sample({}, gone, sampled.sample);
    EXPECT_EQ(sampled.sample.table.size(), 1U);
    return sampled.sampler.comparisons() + sampled.sample.table.visits();
}

TEST(SockSampler, TenTimesTheNamespacesAreTenTimesTheWork) {
    const auto few = workOf(30), many = workOf(300);
    EXPECT_GE(many, 300 * 4);
    EXPECT_LE(many, few * 11);
}

TEST(SockSampler, ANamespaceKeepsItsNameWhileItsProcessLives) {
    const auto in = [](unsigned pid, unsigned inode) {
        return "link /proc/" + std::to_string(pid) + "/ns/net net:[" + std::to_string(inode) + "]\n";
    };
    Made made(snmp(1, 1) + sockets(1, 1, 0) + namespaces(1, 1) + in(200, 5000) + in(201, 5000) +
              "file /proc/200/net/snmp <<E\nTcp: InSegs OutSegs\nTcp: 9 0\nE\n");
    Sampled sampled;
    auto ran = processesOf(1);
    ran.push_back({200, 7, 1, true, false, 'S'});
    sampled.pass(ran);
    ASSERT_EQ(sampled.sample.spaces.size(), 2U);
    EXPECT_EQ(sampled.sample.spaces[1].pid, 100U);
    GoneProcess gone;
    gone.pid = 100, gone.start = 7;
    sampled.sampler.sample(std::vector<Ran>{{201, 7, 1, true, false, 'S'}}, std::vector{gone}, sampled.sample);
    EXPECT_EQ(sampled.sample.spaces[1].inode, 5000U);
    EXPECT_EQ(sampled.sample.spaces[1].pid, 201U); // it has taken the place of the first one
    gone.pid = 201;
    sampled.sampler.sample({}, std::vector{gone}, sampled.sample);
    EXPECT_EQ(sampled.sample.spaces[1].pid, 200U);
    gone.pid = 200;
    sampled.sampler.sample({}, std::vector{gone}, sampled.sample);
    EXPECT_TRUE(sampled.sample.spaces[1].free);
}

// A namespace of the process 100 with connections that have moved so many segments. `more`: another line of its list.
static std::string namespaceOf(unsigned connections, unsigned segments, const std::string& more = "") {
    std::string lines = "link /proc/100/ns/net net:[5000]\nfile /proc/100/net/snmp <<E\nTcp: InSegs OutSegs\nTcp: " +
                        std::to_string(4 * segments) + " 0\nE\nnetlink sockdiag tcp4@5000 <<E\n";
    for (unsigned i = 1; i <= connections; i++)
        lines += "socket 10.0.0.1:80 10.1.1." + std::to_string(i) + ":4000 cookie=" + std::to_string(i) +
                 " inode=" + std::to_string(10000 + i) + " in=" + std::to_string(segments) + "\n";
    return lines + more + "E\n";
}

static NetnsRow rowOf(const Sampled& sampled, uint64_t netns) {
    Interval interval;
    sockRows(sampled.sample, ProcSample(), ViewRow(), interval);
    for (const auto& row : interval.namespaces.rows)
        if (row.netns == netns) return row;
    return {};
}

TEST(SockSampler, AnInterruptedListOfANamespaceRemovesNothing) {
    const auto own = snmp(1, 1) + sockets(1, 1, 0);
    Made made(own + namespaceOf(4, 1) + "step 1\n" + namespaceOf(1, 2, "interrupted\n") + "step 2\n" +
              namespaceOf(1, 3));
    Sampled sampled;
    sampled.pass(processesOf(1));
    EXPECT_EQ(sampled.sample.table.size(), 5U);
    made.step();
    sampled.pass({});
    EXPECT_TRUE(sampled.sample.spaces[1].known);
    EXPECT_EQ(sampled.sample.table.size(), 5U);
    EXPECT_EQ(sampled.sample.changes.size(), 1U);
    made.step();
    sampled.pass({});
    EXPECT_EQ(sampled.sample.table.size(), 2U);
}

// Its counters are shown meanwhile. Then its sockets have moved what they moved in both passes.
TEST(SockSampler, ANamespaceThatDoesNotAnswerIsNotKnown) {
    struct Trouble {
        const char *begins, *line, *ends;
        unsigned forbidden;
    };
    static constexpr Trouble Troubles[] = {
        {"", "error EPERM\n", "", 1},
        {"", "error ENOBUFS\n", "", 0},
        {"hang /proc/100/ns/net\n", "", "unhang /proc/100/ns/net\n", 0},
    };
    for (const auto& trouble : Troubles) {
        SCOPED_TRACE(std::string(trouble.begins) + trouble.line);
        const auto own = snmp(1, 1) + sockets(1, 1, 0);
        Made made(own + namespaceOf(4, 1) + "step 1\n" + trouble.begins + namespaceOf(4, 2, trouble.line) + "step 2\n" +
                  trouble.ends + namespaceOf(4, 3) + "step 3\n" + namespaceOf(4, 4));
        Sampled sampled;
        sampled.pass(processesOf(1));
        EXPECT_TRUE(rowOf(sampled, 5000).known);
        made.step();
        sampled.pass({});
        const auto unknown = rowOf(sampled, 5000);
        EXPECT_EQ(unknown.netns, 5000U);
        EXPECT_FALSE(unknown.known);
        EXPECT_FALSE(unknown.listed);
        EXPECT_FALSE(unknown.sockets || unknown.explained);
        EXPECT_EQ(unknown.segments_in, 4U);
        EXPECT_EQ(sampled.sampler.notAllowed(), trouble.forbidden);
        EXPECT_EQ(sampled.sample.table.size(), 5U);
        made.step();
        sampled.pass({});
        const auto again = rowOf(sampled, 5000);
        EXPECT_TRUE(again.known && again.listed);
        EXPECT_EQ(again.sockets, 4U);
        EXPECT_EQ(again.moved, 4U);
        EXPECT_EQ(again.explained, 4U); // all that the namespace has counted, not what the sockets moved before
        made.step();
        sampled.pass({});
        EXPECT_EQ(rowOf(sampled, 5000).explained, 4U);
        EXPECT_EQ(sampled.sample.spaces[1].ahead, 0U);
    }
}

// All 50 random machines: what the rows and their rest add up to is what moved, whichever way it was found out.
TEST(SockRows, SumsAreExactOnRandomMachines) {
    for (unsigned seed = 1; seed <= 50; seed++) {
        std::srand(seed);
        const unsigned count = 1 + static_cast<unsigned>(std::rand()) % 900;
        const unsigned first = static_cast<unsigned>(std::rand()) % count;
        const unsigned segments = 1 + static_cast<unsigned>(std::rand()) % 50;
        const uint64_t moved = uint64_t{count - first} * segments;
        Made made(snmp(3, 3) + sockets(count, count, 0) + descriptors(11, 0, count) + "step 1\n" +
                  snmp(3 + moved, 3 + moved) + sockets(count, first, segments));
        Sampled sampled;
        sampled.pass({First});
        made.step();
        sampled.pass({FirstAgain});
        Interval interval;
        interval.processes.rows.emplace_back().pid = 11;
        sockRows(sampled.sample, ProcSample(), ViewRow(), interval);
        uint64_t received = 0, in = 0;
        const auto add = [&](const SockRow& row) {
            received += row.received.value_or(0), in += row.segments_in.value_or(0);
        };
        for (auto& row : interval.sockets.rows) add(row);
        if (interval.sockets.rest) add(*interval.sockets.rest);
        EXPECT_EQ(received, moved * 10) << "seed " << seed;
        EXPECT_EQ(in, moved) << "seed " << seed;
        EXPECT_LE(interval.sockets.rows.size(), 500U);
        ASSERT_EQ(interval.namespaces.rows.size(), 1U);
        EXPECT_EQ(interval.namespaces.rows[0].explained, 2 * moved) << "seed " << seed;
        EXPECT_EQ(interval.namespaces.rows[0].received, moved * 10) << "seed " << seed;
        EXPECT_EQ(interval.processes.rows[0].tcp_received, moved * 10) << "seed " << seed;
    }
}

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

TEST(SockRows, Filters) {
    ViewRow asked;
    EXPECT_TRUE(wantsSocket(asked, 80, 4000, "10.0.0.1", "10.1.1.9", "ESTABLISHED"));
    asked.port = "443,80";
    EXPECT_TRUE(wantsSocket(asked, 80, 4000, "", "", ""));
    EXPECT_TRUE(wantsSocket(asked, 4000, 443, "", "", ""));
    EXPECT_FALSE(wantsSocket(asked, 4000, 8080, "", "", ""));
    asked.address = "10.1.";
    EXPECT_TRUE(wantsSocket(asked, 80, 1, "10.0.0.1", "10.1.1.9", ""));
    EXPECT_FALSE(wantsSocket(asked, 80, 1, "10.0.0.1", "10.2.1.9", ""));
    asked.state = "CLOSE_WAIT";
    EXPECT_FALSE(wantsSocket(asked, 80, 1, "10.0.0.1", "10.1.1.9", "ESTABLISHED"));
    EXPECT_TRUE(wantsSocket(asked, 80, 1, "10.0.0.1", "10.1.1.9", "CLOSE_WAIT"));
}

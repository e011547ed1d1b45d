// Sockets of other network namespaces: which process they are read through, and many of them.
#include "base/clock.h"
#include "tests/unit/spacesmade.h"
#include "view/sock.h"

#include <gtest/gtest.h>

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

// Others get the places of processes that ended, also lower ones.
TEST(SockSampler, ANamespaceIsNotNamedAfterWhoCameLater) {
    const auto in = [](unsigned pid, unsigned inode) {
        return "link /proc/" + std::to_string(pid) + "/ns/net net:[" + std::to_string(inode) + "]\n";
    };
    Made made(snmp(1, 1) + sockets(1, 1, 0) + namespaces(1, 1) + in(200, 5000) + in(201, 6000));
    Sampled sampled;
    sampled.pass({{50, 7, 1, true, false, 'S'}, {100, 7, 1, true, false, 'S'}});
    GoneProcess gone;
    gone.pid = 50, gone.start = 7;
    const std::vector<Ran> ran{{200, 7, 1, true, false, 'S'}, {201, 7, 1, true, false, 'S'}};
    sampled.sampler.sample(ran, std::vector{gone}, sampled.sample);
    EXPECT_EQ(sampled.sample.spaces.at(1).pid, 100U);
    EXPECT_EQ(sampled.sample.spaces.at(2).pid, 201U);
}

// A helper goes from one namespace to the next, too. What is read of it while it leaves is of two.
TEST(SockSampler, ANamespaceIsNotReadThroughAProcessThatLeavesMeanwhile) {
    const auto own = snmp(1, 1) + sockets(1, 1, 0);
    Made made(own + namespaceOf(4, 1) + "step 1\nhang /proc/100/ns/net\n" + namespaceOf(4, 2) +
              "step 2\nunhang /proc/100/ns/net\n" + namespaceOf(4, 3) + "step 3\n" + namespaceOf(4, 4));
    Sampled sampled;
    sampled.pass(processesOf(1));
    for (int pass = 1; pass < 4; pass++) {
        made.step();
        bool leaves = pass == 1;
        made.world.watch = [&](const std::string& path) {
            if (!leaves || path != "/proc/100/net/snmp") return;
            const_cast<TNode*>(made.world.find("/proc/100/ns/net"))->text = "net:[4000]";
            leaves = false;
        };
        sampled.pass({});
        const auto row = rowOf(sampled, 5000);
        EXPECT_EQ(row.segments_in.has_value(), pass == 3) << pass;
        EXPECT_EQ(row.explained.value_or(0), pass == 1 ? 0U : pass == 2 ? 8U : 4U) << pass; // 8: in both passes
    }
}

// It entered another namespace and did not run since: its files are those of the other one.
TEST(SockSampler, ANamespaceIsNotReadThroughAProcessThatHasLeft) {
    const auto in = [](unsigned pid, unsigned inode) {
        return "link /proc/" + std::to_string(pid) + "/ns/net net:[" + std::to_string(inode) + "]\n";
    };
    const auto counts = [](unsigned pid, unsigned segments) {
        return "file /proc/" + std::to_string(pid) +
               "/net/snmp <<E\nTcp: InSegs OutSegs\nTcp: " + std::to_string(segments) + " 0\nE\n";
    };
    Made made(snmp(1, 1) + sockets(1, 1, 0) + in(100, 5000) + in(101, 5000) + counts(100, 10) + counts(101, 10) +
              "step 1\n" + in(100, 6000) + counts(100, 900000) + counts(101, 14) + "step 2\n" + in(101, 6000));
    Sampled sampled;
    auto all = processesOf(2);
    for (int pid = 200; pid < 300; pid++) all.push_back({pid, 7, 1, true, false, 'S'}); // each has its turn
    for (int pass = 0; pass < 3; pass++) sampled.pass(all);
    EXPECT_EQ(sampled.sample.spaces.at(1).pid, 100U);
    made.step();
    sampled.pass({});
    EXPECT_EQ(sampled.sample.spaces[1].inode, 5000U);
    EXPECT_EQ(sampled.sample.spaces[1].pid, 101U);
    EXPECT_EQ(rowOf(sampled, 5000).segments_in, 4U);
    EXPECT_EQ(sampled.sample.spaces.at(2).inode, 6000U);
    made.step();
    sampled.pass({});
    EXPECT_TRUE(sampled.sample.spaces[1].free);
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

// In how many passes each of the namespaces was known, from 1 on; `between_us`: the helper works so long between two.
static std::vector<unsigned> passesKnown(const std::string& answers, unsigned count, unsigned passes,
                                         int64_t between_us) {
    std::string lines = snmp(1, 1) + sockets(1, 1, 0) + answers;
    for (unsigned pass = 0; pass < passes; pass++)
        lines += namespaces(count, 1 + pass) + "step " + std::to_string(pass + 1) + "\n";
    Made made(lines);
    Sampled sampled;
    std::vector<unsigned> known(count + 1);
    for (unsigned pass = 0; pass < passes; pass++) {
        sampled.pass(processesOf(count));
        for (unsigned i = 1; i <= count; i++) known[i] += sampled.sample.spaces.at(i).known;
        sampled.helper.await(getMonotonic() + between_us);
        made.step();
    }
    return known;
}

// The helper has time for some of six in a pass, and works on during the pause.
TEST(SockSampler, NamespacesTakeTurnsWhereNotAllCanAnswer) {
    constexpr unsigned Count = 6;
    std::string slow;
    for (unsigned i = 0; i < Count; i++) slow += "answerafter 100 /proc/" + std::to_string(100 + i) + "/ns/net\n";
    const auto known = passesKnown(slow, Count, 3, 900000);
    for (unsigned i = 1; i <= Count; i++) EXPECT_GE(known[i], 1U) << i;
}

TEST(SockSampler, OneNamespaceThatHangsDoesNotHoldTheOthersUp) {
    constexpr unsigned Count = 4, Passes = 6;
    for (const std::string hanging : {"100", "102"}) {
        SCOPED_TRACE(hanging);
        const auto known = passesKnown("hang /proc/" + hanging + "/ns/net\n", Count, Passes, 1900000);
        for (unsigned i = 1; i <= Count; i++) {
            const bool hangs = std::to_string(99 + i) == hanging;
            if (hangs) EXPECT_EQ(known[i], 0U);
            else EXPECT_GE(known[i], Passes - 2) << i;
        }
    }
}

// More namespaces than there is room for: those that have a place go on, and how many have none is said.
TEST(SockSampler, NamespacesThatAreTooManyAreCounted) {
    constexpr unsigned Room = SockSampler::MostSpaces - 1, Count = Room + 5;
    const auto lines = [](unsigned segments) {
        std::string text;
        for (unsigned i = 0; i < Count; i++) {
            const auto process = "/proc/" + std::to_string(100 + i);
            text += "link " + process + "/ns/net net:[" + std::to_string(5000 + i) + "]\nfile " + process +
                    "/net/snmp <<E\nTcp: InSegs OutSegs\nTcp: " + std::to_string(segments) + " 0\nE\n";
        }
        return text;
    };
    Made made(snmp(1, 1) + sockets(1, 1, 0) + lines(1) + "step 1\n" + lines(4) +
              "link /proc/99/ns/net net:[4000]\nfile /proc/99/net/snmp <<E\nTcp: InSegs OutSegs\nTcp: 7 0\nE\n");
    Sampled sampled;
    sampled.pass(processesOf(Count));
    EXPECT_EQ(sampled.sample.spaces.size(), SockSampler::MostSpaces);
    EXPECT_EQ(rowOf(sampled, sampled.own().inode).left_out, 5U);
    made.step();
    sampled.pass({{99, 7, 1, true, false, 'S'}}); // its namespace is the first, and has no place
    EXPECT_EQ(rowOf(sampled, sampled.own().inode).left_out, 6U);
    Interval interval;
    sockRows(sampled.sample, ProcSample(), ViewRow(), interval);
    const LogHead head;
    const ViewRow asked;
    Page page(0, false);
    showSockets(interval, {head, asked}, page);
    EXPECT_NE(page.text().find("; 6 more networks not looked at"), std::string::npos) << page.text();
    for (const unsigned inode : {5000U, 5000U + Room - 1}) EXPECT_EQ(rowOf(sampled, inode).segments_in, 3U) << inode;
}

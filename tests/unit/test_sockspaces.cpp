// Sockets of other network namespaces.
#include "base/clock.h"
#include "tests/unit/sockmade.h"
#include "view/sock.h"

#include <gtest/gtest.h>

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
        lines += "socket 10.0.0.1:80 10.1." + std::to_string(i / 250) + "." + std::to_string(i % 250) +
                 ":4000 cookie=" + std::to_string(i) + " inode=" + std::to_string(10000 + i) +
                 " in=" + std::to_string(segments) + "\n";
    return lines + more + "E\n";
}

static NetnsRow rowOf(const Sampled& sampled, uint64_t netns) {
    Interval interval;
    sockRows(sampled.sample, ProcSample(), ViewRow(), interval);
    for (const auto& row : interval.namespaces.rows)
        if (row.netns == netns) return row;
    return {};
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

// Their list takes no room: each piece of it is used up as it comes.
TEST(SockSampler, ANamespaceMayHaveAnyNumberOfSockets) {
    constexpr unsigned Many = 60000;
    const auto own = snmp(1, 1) + sockets(1, 1, 0);
    Made made(own + namespaceOf(Many, 1) + "step 1\n" + namespaceOf(Many + 1, 2) + "step 2\n" + namespaceOf(4, 3));
    Sampled sampled;
    sampled.pass(processesOf(1));
    EXPECT_TRUE(rowOf(sampled, 5000).known);
    EXPECT_EQ(rowOf(sampled, 5000).sockets, Many);
    made.step();
    sampled.pass({});
    EXPECT_EQ(rowOf(sampled, 5000).sockets, Many + 1);
    EXPECT_EQ(rowOf(sampled, 5000).moved, Many + 1);
    made.step();
    sampled.pass({});
    EXPECT_EQ(rowOf(sampled, 5000).sockets, 4U);
    EXPECT_EQ(sampled.sample.table.size(), 5U);
}

// Its list is waited for as long as more of it comes, but for no more than a quarter of the interval.
TEST(SockSampler, ALongListMayTakeItsTime) {
    constexpr unsigned Count = 6;
    for (const unsigned interval_us : {100000U, 1500000U, 20000000U}) {
        SCOPED_TRACE(interval_us);
        std::string lines = snmp(1, 1) + sockets(1, 1, 0);
        for (unsigned i = 0; i < Count; i++) lines += "answerafter 100 /proc/" + std::to_string(100 + i) + "/ns/net\n";
        Made made(lines + namespaces(Count, 1) + "step 1\n" + namespaces(Count, 2));
        Sampled sampled;
        sampled.pass(processesOf(Count));
        sampled.helper.await(getMonotonic() + 900000); // it ends what it has begun
        made.world.pause(interval_us);
        const int64_t began = getMonotonic();
        sampled.pass({});
        unsigned known = 0;
        for (unsigned i = 1; i <= Count; i++) known += sampled.sample.spaces.at(i).known;
        EXPECT_EQ(known, interval_us == 100000 ? 2U : interval_us == 1500000 ? 5U : Count);
        EXPECT_LE(getMonotonic() - began, interval_us == 100000 ? 250000 : interval_us == 1500000 ? 600000 : 1000000);
    }
}

// Its cookie tells a namespace from the one that had its inode number until a moment ago.
TEST(SockSampler, AnInodeNumberThatIsUsedAgainIsAnotherNamespace) {
    const auto own = snmp(1, 1) + sockets(1, 1, 0);
    for (const bool another : {false, true}) {
        SCOPED_TRACE(another);
        Made made(own + "netcookie 5000 77\n" + namespaceOf(4, 1) + "step 1\n" + namespaceOf(4, 2) + "step 2\n" +
                  (another ? "netcookie 5000 78\n" : "") + namespaceOf(3, 9) + "step 3\n" + namespaceOf(3, 10));
        Sampled sampled;
        for (int pass = 0; pass < 3; pass++) {
            sampled.pass(pass == 0 ? processesOf(1) : std::vector<Ran>());
            made.step();
        }
        const auto row = rowOf(sampled, 5000);
        EXPECT_TRUE(row.known);
        EXPECT_EQ(row.sockets, 3U);
        EXPECT_EQ(row.segments_in.has_value(), !another);
        ASSERT_EQ(sampled.sample.changes.size(), 3U);
        for (const auto& change : sampled.sample.changes) {
            EXPECT_EQ(change.born, another);
            EXPECT_EQ(change.before.segments_in, another ? 0U : 2U);
        }
        sampled.pass({});
        EXPECT_EQ(rowOf(sampled, 5000).segments_in, 4U);
        EXPECT_EQ(rowOf(sampled, 5000).explained, 3U);
    }
}

// The first list says which sockets are there. Where it may lack some, those that are found later are not new.
TEST(SockSampler, ANamespaceIsNotKnownByAnInterruptedList) {
    const auto own = snmp(1, 1) + sockets(1, 1, 0);
    Made made(own + namespaceOf(1, 1, "interrupted\n") + "step 1\n" + namespaceOf(4, 2) + "step 2\n" +
              namespaceOf(4, 3));
    Sampled sampled;
    sampled.pass(processesOf(1));
    EXPECT_FALSE(rowOf(sampled, 5000).known);
    made.step();
    sampled.pass({});
    EXPECT_TRUE(rowOf(sampled, 5000).known);
    for (const auto& change : sampled.sample.changes) EXPECT_FALSE(change.born);
    made.step();
    sampled.pass({});
    EXPECT_EQ(sampled.sample.changes.size(), 4U);
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

// Sockets of a namespace that is new are new, those of one that has not answered before may be old.
TEST(SockSampler, OnlyANewNamespaceHasNewSockets) {
    const auto own = snmp(1, 1) + sockets(1, 1, 0);
    for (const bool there : {false, true}) {
        SCOPED_TRACE(there);
        Made made(own + (there ? namespaceOf(4, 5) + "hang /proc/100/ns/net\n" : "") + "step 1\n" + namespaceOf(4, 6) +
                  "unhang /proc/100/ns/net\n");
        Sampled sampled;
        sampled.pass(there ? processesOf(1) : std::vector<Ran>());
        made.step();
        sampled.pass(processesOf(1));
        EXPECT_TRUE(rowOf(sampled, 5000).known);
        EXPECT_EQ(sampled.sample.changes.size(), there ? 0U : 4U);
        EXPECT_EQ(rowOf(sampled, 5000).explained.value_or(0), there ? 0U : 24U);
    }
}

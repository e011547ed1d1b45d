// Lists of the sockets of another network namespace: cut short, late, long, or of another one by then.
#include "base/clock.h"
#include "tests/unit/spacesmade.h"

#include <gtest/gtest.h>

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

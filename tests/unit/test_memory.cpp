#include "model/memory.h"
#include "model/pressure.h"
#include "parse/keyed.h"
#include "parse/numberlist.h"
#include "parse/pressure.h"
#include "tests/unit/made.h"
#include "view/areas.h"
#include "view/memory.h"

#include <gtest/gtest.h>

namespace {
struct Two {
    std::optional<uint64_t> a, b;
};
} // namespace
static constexpr Keyed<Two> Keys[] = {
    {"A:", &Two::a},
    {"B:", &Two::b},
};

TEST(Keyed, LinesMayComeInAnyOrderAndChangeIt) {
    KeyPlan plan;
    Two two;
    const auto parse = [&](std::string_view text) { parseKeyed<Two>(text, Keys, plan, two); };
    parse("X: 1\nA: 5 kB\nB:   7\n");
    EXPECT_EQ(two.a, 5U);
    EXPECT_EQ(two.b, 7U);
    parse("B: 8\nX: 1\nY:\nA: 6\n");
    EXPECT_EQ(two.a, 6U);
    EXPECT_EQ(two.b, 8U);
    parse("AA: 1\nA 4\nB: x\n");
    EXPECT_FALSE(two.a);
    EXPECT_FALSE(two.b);
    parse("A: 1");
    EXPECT_EQ(two.a, 1U);
    parse("");
    EXPECT_FALSE(two.a);
}

TEST(Keyed, APlanIsForOneListOfKeys) {
    static constexpr Keyed<Two> OnlyB[] = {
        {"B:", &Two::b},
    };
    KeyPlan plan;
    Two two;
    parseKeyed<Two>("B: 7\nA: 5\n", Keys, plan, two);
    parseKeyed<Two>("B: 8\nA: 6\n", OnlyB, plan, two);
    EXPECT_EQ(two.a, 5U);
    EXPECT_EQ(two.b, 8U);
}

TEST(Pressure, TotalsOrNothing) {
    const auto both = parsePressure("some avg10=0.12 avg60=0.05 avg300=0.01 total=1234567\nfull avg10=0 total=34\n");
    ASSERT_TRUE(both);
    EXPECT_EQ(both->some_us, 1234567U);
    EXPECT_EQ(both->full_us, 34U);
    const auto irq = parsePressure("full avg10=0.00 avg60=0.00 avg300=0.00 total=5\n");
    ASSERT_TRUE(irq);
    EXPECT_FALSE(irq->some_us);
    for (const char* text : {"", "some", "some total=", "some total=x", "other total=5"})
        EXPECT_FALSE(parsePressure(text));
}

TEST(PressureModel, WithoutASampleBeforeThereIsNoRow) {
    PressureSample before, now;
    before.at_us = 0, now.at_us = 1000000;
    now.resources[2] = Pressure{500, 300};
    Rows<PressureRow> rows;
    pressureRows(nullptr, now, rows);
    EXPECT_TRUE(rows.rows.empty());
    EXPECT_TRUE(rows.sampled);
    before.resources[2] = Pressure{100, 400};
    pressureRows(&before, now, rows);
    ASSERT_EQ(rows.rows.size(), 1U);
    EXPECT_EQ(rows.rows[0].resource, "io");
    EXPECT_EQ(rows.rows[0].some_us, 400U);
    EXPECT_FALSE(rows.rows[0].full_us);
}

TEST(MemoryModel, UnitsAndSums) {
    MemorySample before, now;
    before.known = now.known = true;
    before.at_us = 0, now.at_us = 2000000;
    before.vm.swap_in = 10, now.vm.swap_in = 13;
    before.vm.page_in_kib = 1, now.vm.page_in_kib = 5;
    before.vm.refault_anon = 1, now.vm.refault_anon = 3;
    before.vm.refault_file = 1, now.vm.refault_file = 2;
    before.vm.oom_kills = 4, now.vm.oom_kills = 1;
    now.info.cached = 100, now.info.buffers = 20, now.info.shared = 30, now.info.total = 2;
    now.info.huge_total = 3, now.info.huge_size = 2048;
    Rows<MemoryRow> rows;
    memoryRows(&before, now, rows);
    ASSERT_EQ(rows.rows.size(), 1U);
    auto& row = rows.rows[0];
    EXPECT_EQ(row.total, 2048U);
    EXPECT_EQ(row.file, 90U * 1024);
    EXPECT_EQ(row.swap_in, 3U * 4096);
    EXPECT_EQ(row.page_in, 4U * 1024);
    EXPECT_EQ(row.refaults, 3U);
    EXPECT_FALSE(row.oom_kills);
    EXPECT_FALSE(row.scanned);
    EXPECT_EQ(row.huge_total, 3U * 2048 * 1024);
    EXPECT_FALSE(row.huge_free);
    EXPECT_FALSE(row.available);
}

// --- NUMA nodes

TEST(Nodes, TextOfANode) {
    const auto info = parseNodeInfo("Node 0 MemTotal:       1000 kB\nNode 0 MemFree: 300 kB\nNode 0 FilePages: 400 kB\n"
                                    "Node 0 AnonPages: 200 kB\nNode 0 Shmem: 50 kB\nNode 0 HugePages_Total: 0\n");
    EXPECT_EQ(info.total, 1000U);
    EXPECT_EQ(info.free, 300U);
    EXPECT_EQ(info.file, 400U);
    EXPECT_EQ(info.anonymous, 200U);
    EXPECT_EQ(info.shared, 50U);
    for (const char* text :
         {"", "Node", "Node 0", "Node 0 MemTotal:", "Node 0 MemTotal: x kB", "MemTotal: 5 kB", "\n\n"})
        EXPECT_FALSE(parseNodeInfo(text).total) << text;
}

static std::string nodeText(const std::string& node, const std::string& total) {
    return "file /sys/devices/system/node/node" + node + "/meminfo <<W\nNode " + node + " MemTotal: " + total +
           " kB\nNode " + node + " MemFree: 10 kB\nNode " + node + " FilePages: 30 kB\nNode " + node +
           " Shmem: 10 kB\nNode " + node + " AnonPages: 5 kB\nW\n";
}

TEST(Nodes, OnlyWhereThereAreSeveral) {
    Made machine("text /proc/meminfo \"MemTotal: 100 kB\\n\"\ntext /sys/devices/system/node/has_memory \"0,2\\n\"\n" +
                 nodeText("0", "60") + nodeText("2", "40"));
    MemorySampler sampler{Root()};
    MemorySample sample;
    sampler.sample(sample);
    Interval interval;
    memoryRows(nullptr, sample, interval.memory);
    nodeRows(sample, interval.nodes);
    ASSERT_EQ(interval.nodes.rows.size(), 2U);
    EXPECT_EQ(interval.nodes.rows[1].node, 2U);
    EXPECT_EQ(interval.nodes.rows[1].total, 40U * 1024);
    EXPECT_EQ(interval.nodes.rows[1].file, 20U * 1024);
    Page page(0, false);
    showMemory(interval, {LogHead{}, ViewRow{}}, page);
    EXPECT_NE(page.text().find("\nNODE     total  free  free%  anon  file\n"
                               "0        60.0K 10.0K   16.7  5.0K 20.0K\n"
                               "2        40.0K 10.0K   25.0  5.0K 20.0K\n"),
              std::string::npos)
        << page.text();

    const Made single(
        "text /proc/meminfo \"MemTotal: 100 kB\\n\"\ntext /sys/devices/system/node/has_memory \"0\\n\"\n" +
        nodeText("0", "60"));
    MemorySampler other{Root()};
    other.sample(sample);
    EXPECT_TRUE(sample.nodes.empty());
}

TEST(NumberList, RangesAndNothingElse) {
    EXPECT_EQ(numbersOfList("0-2,5\n"), (std::vector<uint64_t>{0, 1, 2, 5}));
    EXPECT_EQ(numbersOfList("7"), std::vector<uint64_t>{7});
    for (const char* text : {"", "\n", "x", "3-1", "0-", "0,,1", "0-99999999999", "0-18446744073709551615"})
        EXPECT_TRUE(numbersOfList(text).empty()) << text;
}

#include "model/limits.h"
#include "parse/limits.h"
#include "view/limits.h"

#include <gtest/gtest.h>

TEST(Limits, SoftnetOverAllCpus) {
    auto softnet = parseSoftnet("000004d1 00000001 0000000a 0 0 0 0 0 0 0 0 00000007 00000000 0 0\n"
                                "000019e7 00000002 00000001 0 0 0 0 0 0 0 0 00000003 00000001 0 0\n");
    ASSERT_TRUE(softnet);
    EXPECT_EQ(softnet->dropped, 3U);
    EXPECT_EQ(softnet->squeezed, 11U);
    EXPECT_EQ(softnet->backlog, 7U);
    softnet = parseSoftnet("000004d1 00000001 0000000a 0 0 0 0 0 0 0 0\n");
    ASSERT_TRUE(softnet);
    EXPECT_FALSE(softnet->backlog) << "kernels before 5.10";
    for (const char* text : {"", "\n", "1 2\n", "hello\n", "1 x 3\n"}) EXPECT_FALSE(parseSoftnet(text)) << text;
}

TEST(Limits, ColumnsOfCpuTables) {
    constexpr std::string_view Table = "entries  allocs table_fulls\n00000010 1 00000002\n00000010 3 0000000f\n";
    EXPECT_EQ(parseCpuColumn(Table, "entries"), 16U) << "each line has all of them";
    EXPECT_EQ(parseCpuColumn(Table, "table_fulls"), 17U);
    EXPECT_FALSE(parseCpuColumn(Table, "drop"));
    EXPECT_FALSE(parseCpuColumn("entries\n", "entries"));
    EXPECT_FALSE(parseCpuColumn("entries allocs\n10\n", "allocs"));
    EXPECT_FALSE(parseCpuColumn("", "entries"));
}

TEST(Limits, NumbersAndKeys) {
    EXPECT_EQ(parseNumberAt("2701\t0\t9223372036854775807\n", 2), 9223372036854775807U);
    EXPECT_EQ(parseNumberAt("12\n", 0), 12U);
    for (const char* text : {"", "\n", "x", "1 2 -3", "1 2"}) EXPECT_FALSE(parseNumberAt(text, 2)) << text;
    const auto keys =
        parseKeyUsers("    0:     9 8/8 3/1000000 40/25000000\n 1000: 9 8/8 150/200 1/20000\nx\n 7: 1 1/1 5/0 0/0\n");
    ASSERT_TRUE(keys);
    EXPECT_EQ(keys->keys, 150U);
    EXPECT_EQ(keys->limit, 200U);
    EXPECT_FALSE(parseKeyUsers(""));
    EXPECT_FALSE(parseKeyUsers("0: 9 8/8 3 40\n"));
}

static LimitSample sampleOf(uint64_t conntrack, uint64_t files, uint64_t dropped) {
    LimitSample sample;
    sample[Limit::Conntrack] = {conntrack, 100, {}};
    sample[Limit::Files] = {files, 100, {}};
    sample[Limit::Pids] = {60, 100, {}};
    sample[Limit::Aio] = {0, 100, {}};
    sample[Limit::TcpMemory] = {4096, {}, {}};
    sample[Limit::Backlog] = {0, 1000, dropped};
    return sample;
}

static std::string rowsOf(const LimitSample& before, const LimitSample& now, bool complete = false) {
    Rows<LimitRow> rows;
    limitRows(&before, now, complete, rows);
    std::string text;
    for (auto& row : rows.rows) {
        text += row.name + "=" + std::to_string(row.use.value_or(0)) + " ";
        if (row.reached.value_or(0)) text += std::to_string(*row.reached) + " times ";
    }
    return text;
}

TEST(LimitModel, ChangedNearAndNearest) {
    const auto before = sampleOf(10, 20, 5);
    EXPECT_EQ(rowsOf(before, before), "pids=60 ");
    EXPECT_EQ(rowsOf(before, sampleOf(11, 20, 5)), "conntrack=11 pids=60 ");
    EXPECT_EQ(rowsOf(before, sampleOf(10, 20, 9)), "pids=60 backlog=0 4 times ");
    EXPECT_EQ(rowsOf(before, before, true), "conntrack=10 files=20 pids=60 backlog=0 aio=0 ");
    auto low = sampleOf(10, 20, 5);
    low[Limit::Pids] = {};
    EXPECT_EQ(rowsOf(low, low), "files=20 ") << "the nearest one, though it is far";
    Rows<LimitRow> rows;
    limitRows(nullptr, before, true, rows);
    EXPECT_TRUE(rows.sampled && rows.rows.empty());
}

TEST(LimitView, NearOnesOrTheNearest) {
    Interval interval;
    const LogHead head;
    const ViewRow asked;
    const auto shown = [&] {
        Page page(0, false);
        showLimits(interval, View{head, asked}, page);
        return page.text();
    };
    EXPECT_EQ(shown(), "");
    interval.limits.elapsed_us = 2000000;
    interval.limits.rows = {
        {"files", "", 3, 10, {}},
        {"tcp_memory", "B", 1048576, 9 << 20, {}},
        {"squeeze", "", {}, {}, 0},
    };
    EXPECT_EQ(shown(), "LIMITS  nearest files 30.0%\n");
    interval.limits.rows[0].use = 5;
    interval.limits.rows[1].use = 18 << 19;
    interval.limits.rows[2].reached = 3;
    EXPECT_EQ(shown(), "LIMITS         use%     use   limit reached/s\n"
                       "files          50.0       5      10         -\n"
                       "tcp_memory    100.0    9.0M    9.0M         -\n"
                       "squeeze           -       -       -       1.5\n");
}

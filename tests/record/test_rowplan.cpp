// Rows read by a plan.
#include "tests/record/logparts.h"

#include <gtest/gtest.h>

#include <random>

namespace {
struct MixedRow {
    std::string name;
    char letter = 0;
    bool flag = true;
    uint64_t whole = 7;
    int64_t difference = -7;
    double real = 0.5;
    std::optional<uint64_t> mayWhole;
    std::optional<int64_t> maySigned;
    std::optional<double> mayReal;
};
constexpr auto MixedKind = kind<MixedRow>(
    "MIXED", id("name", &MixedRow::name), label("letter", &MixedRow::letter), level("flag", "", &MixedRow::flag),
    level("whole", "", &MixedRow::whole), level("difference", "", &MixedRow::difference),
    level("real", "", &MixedRow::real), amount("may_whole", "", &MixedRow::mayWhole),
    amount("may_signed", "", &MixedRow::maySigned), amount("may_real", "", &MixedRow::mayReal));
} // namespace

// A plan reads each cell as readCell does, in the log's order of fields, into rows that had other values before.
TEST(RowPlans, ReadWhatCellsRead) {
    const char* const Cells[] = {"",
                                 "0",
                                 "1",
                                 "12",
                                 "18446744073709551615",
                                 "18446744073709551616",
                                 "-1",
                                 "-0",
                                 "-",
                                 "+1",
                                 "1.5",
                                 "0.1",
                                 "123456.789012",
                                 "1e3",
                                 "1e400",
                                 "1.",
                                 ".5",
                                 "nan",
                                 "-9223372036854775808",
                                 "9223372036854775807",
                                 "a",
                                 "\\x2C",
                                 "\\x",
                                 "a\\x00b",
                                 "9223372036854775808",
                                 "-9223372036854775809",
                                 "00012",
                                 "0.30000000000000004",
                                 "1234567890123456789.5",
                                 "0x1",
                                 " 1",
                                 "1 ",
                                 "a text that is longer than fifteen"};
    std::mt19937_64 random(5);
    for (int round = 0; round < 20000; round++) {
        std::vector<std::string_view> header{"MIXED", "time", "secs"};
        for (auto& member : MixedKind.members)
            if (random() % 8) header.push_back(member.name);
        header.push_back("newer");
        std::shuffle(header.begin() + 3, header.end(), random);
        std::string line;
        std::vector<std::string_view> cells{"MIXED", "t", "s"};
        const size_t count = random() % 12;
        for (size_t i = 0; i < count; i++) {
            cells.push_back(Cells[random() % std::size(Cells)]);
            line.append(i ? "," : "").append(cells.back());
        }
        const auto places = placesOf(MixedKind, header);
        MixedRow expected;
        const auto read = readCells(cells, MixedKind, places, expected);
        MixedRow row{"an earlier name that is long", 'x', false, 1, 2, 3, 4, 5, 6};
        const MixedRow none;
        ASSERT_EQ(RowPlan(MixedKind, places).read(line, &row, &none), read) << line;
        if (read == RowRead::Damaged) continue;
        std::string texts[2];
        appendCells(texts[0], MixedKind, expected), appendCells(texts[1], MixedKind, row);
        ASSERT_EQ(texts[1], texts[0]) << line;
    }
}

// The rows of an interval are used again; nothing of the interval before stays in them.
TEST(RowPlans, RowsAreUsedAgain) {
    std::string log = headText();
    for (const size_t cores : std::initializer_list<size_t>{5, 2, 0, 9, 1}) {
        auto interval = cpuInterval(1, cores);
        for (auto& row : interval.cores.rows)
            if (row.core % 2) row.user_us = cores;
        if (cores == 2) interval.cores.rest = CoreRow{}, interval.cores.rest->user_us = 99;
        LogWriter().interval(interval, log);
    }
    LogReader reader(partsOf(log));
    Interval found;
    reader.next(found);
    for (const size_t cores : std::initializer_list<size_t>{5, 2, 0, 9, 1}) {
        ASSERT_EQ(reader.next(found), LogReader::Found::Interval);
        ASSERT_EQ(found.cores.rows.size(), cores);
        EXPECT_EQ(found.cores.sampled, cores > 0);
        EXPECT_EQ(found.cores.rest.has_value(), cores == 2);
        for (auto& row : found.cores.rows) EXPECT_EQ(row.user_us.value_or(0), row.core % 2 ? cores : 0);
    }
}

// Only the intervals of a span are given, and heads.
TEST(RowPlans, OnlyASpan) {
    const auto log = logOf(6);
    LogReader reader(partsOf(log));
    reader.only({1795266310000 + 2000, 1795266310000 + 4000});
    Interval found;
    ASSERT_EQ(reader.next(found), LogReader::Found::Head);
    for (const uint64_t number : std::initializer_list<uint64_t>{3, 4}) {
        ASSERT_EQ(reader.next(found), LogReader::Found::Interval);
        EXPECT_EQ(found.number, number);
        EXPECT_EQ(found.cores.rows.size(), 3U);
    }
    EXPECT_EQ(reader.next(found), LogReader::Found::End);
}

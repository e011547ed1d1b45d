#include "classic/monitor/report.h"

#include "tests/unit/made.h"

#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

namespace {
struct TRow {
    const char* name;
    double size;
    int64_t number;
};
} // namespace

static int Wide = 1;

static double twice(const TRow& row) { return 2 * row.size; }
static std::string_view name(const TRow& row) { return row.name; }

static constexpr TColumn<TRow> Columns[] = {
    {"Name", -8, "", " ", text<TRow, name>},
    {"Size", 6, "", " ", bytes<TRow, &TRow::size>},
    {"Twice", 7, "%", " ", count<TRow, twice>},
    {"Wide", 5, "", " ", number<TRow, &TRow::number>, &Wide},
    {"Narrow", 6, "", " ", number<TRow, &TRow::number>, &Wide, 0},
    {"End", 3, "", "", number<TRow, &TRow::number>},
};

static constexpr TField<TRow> Fields[] = {
    {{"name", Form::Text, ""}, words<TRow, name>},
    {{"size", Form::Real2, "bytes"}, real<TRow, &TRow::size>},
    {{"number", Form::Int, ""}, whole<TRow, &TRow::number>},
};

static constexpr TRecord<TRow> Row = {"ROW", Fields, std::size(Fields)};

TEST(Report, TitlesAndCells) {
    const TRow row{"sda", 1536, 7};
    EXPECT_EQ(printed([&] { dispTitles(Columns), sayText("\n"), dispCells(Columns, row); }),
              "Name       Size   Twice  Wide End\n"
              "sda       1.50K  3.07K%     7   7");
}

TEST(Report, ColumnsComeAndGoWithTheirSetting) {
    const TRow row{"sda", 1, 7};
    Wide = 0;
    const auto text = printed([&] { dispTitles(Columns), sayText("\n"), dispCells(Columns, row); });
    Wide = 1;
    EXPECT_EQ(text, "Name       Size   Twice Narrow End\n"
                    "sda        1.00   2.00%      7   7");
}

TEST(Report, ALongerTextIsNotCut) {
    const TRow row{"a-very-long-name", 0, -123456};
    EXPECT_EQ(printed([&] { dispCells(Columns, row); }), "a-very-long-name      0      0% -123456 -123456");
    for (int width : {0, 1, 4, -4, 100, -100})
        EXPECT_EQ(printed([&] { sayCell("text", width); }).size(), width == 100 || width == -100 ? 100U : 4U);
    EXPECT_EQ(printed([] { sayCell("ab", 4), sayText("|"), sayCell("ab", -4), sayText("|"); }), "  ab|ab  |");
}

TEST(Report, PlainNumbersKeepAllTheirDigits) {
    EXPECT_EQ(plain(std::numeric_limits<int64_t>::min()).view(), "-9223372036854775808");
    EXPECT_EQ(plain(std::numeric_limits<int64_t>::max()).view(), "9223372036854775807");
}

TEST(Report, RecordsAndTheirHeaders) {
    const TRow row{"a,b$", 1536.005, 4294967297};
    EXPECT_EQ(printed([&] { dispRecord(Row, row); }), "^ROW,a,b$,1536.01,1$\n"); // without quoting
    EXPECT_EQ(printed([] { dispHeader(Row), dispHeader(TRecord<TRow>{"N0STAT", Fields, 2}); }),
              "^row,name,size,number$\n^n0stat,name,size$\n");
}

TEST(Report, EveryFormAsPrintf) {
    const auto spelled = [](const TValue& value, Form form) { return printed([&] { value.say(form); }); };
    EXPECT_EQ(spelled(-7, Form::Int), "-7");
    EXPECT_EQ(spelled(2147483648, Form::Int), "-2147483648"); // the low 32 bits
    EXPECT_EQ(spelled(4294967295U, Form::Int), "-1");
    EXPECT_EQ(spelled(INT64_MIN, Form::Long), "-9223372036854775808");
    EXPECT_EQ(spelled(2.5, Form::Real0), "2"); // rounds to even
    EXPECT_EQ(spelled(3.5, Form::Real0), "4");
    EXPECT_EQ(spelled(0.25, Form::Real1), "0.2");
    EXPECT_EQ(spelled(1e15, Form::Real2), "1000000000000000.00");
    EXPECT_EQ(spelled(-0.001, Form::Real2), "-0.00");
    EXPECT_EQ(spelled(0.3, Form::Real6), "0.300000");
    EXPECT_EQ(spelled(7, Form::Milli), "007");
    EXPECT_EQ(spelled(1234, Form::Milli), "1234");
    EXPECT_EQ(spelled(7, Form::Two), "07");
    EXPECT_EQ(spelled(0x8000, Form::Hex7), "0008000");
    EXPECT_EQ(spelled(-1, Form::Hex7), "FFFFFFFF");
    EXPECT_EQ(spelled('S', Form::Letter), "S");
    EXPECT_EQ(spelled(std::string_view("as it is"), Form::Text), "as it is");
    EXPECT_EQ(spelled(std::numeric_limits<double>::quiet_NaN(), Form::Real2), "nan");
}

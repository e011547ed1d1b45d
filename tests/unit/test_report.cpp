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
    {"Name", -8, "", " ", textCell<name>},
    {"Size", 6, "", " ", bytesCell<&TRow::size>},
    {"Twice", 7, "%", " ", countCell<twice>},
    {"Wide", 5, "", " ", numberCell<&TRow::number>, &Wide},
    {"Narrow", 6, "", " ", numberCell<&TRow::number>, &Wide, 0},
    {"End", 3, "", "", numberCell<&TRow::number>},
};

static constexpr Field Fields[] = {
    {"name", Role::Id, "", Form::Text},
    {"size", Role::Level, "bytes", Form::Real2},
    {"number", Role::Level, "", Form::Int},
};
static constexpr Kind RowKind = {"ROW", Fields, std::size(Fields)};
static constexpr Kind N0Kind = {"N0STAT", Fields, 2};
static constexpr auto Row = recordOf<RowKind, TRow, name, &TRow::size, &TRow::number>;

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
    EXPECT_EQ(printed([] { dispHeader(RowKind), dispHeader(N0Kind); }), "^row,name,size,number$\n^n0stat,name,size$\n");
}

namespace {
struct TPart {
    int64_t count;
    std::string_view label;
};
struct TWhole {
    const TPart* part;
    const TPart& other;
};
} // namespace

static const TPart& other(const TWhole& whole) { return whole.other; }
static int64_t doubled(const TPart& part) { return 2 * part.count; }

static constexpr Field WholeFields[] = {
    {"label", Role::Id, "", Form::Text},
    {"count", Role::Level, "", Form::Real2},
    {"twice", Role::Level, "", Form::Long},
    {"made", Role::Text, "", Form::Text},
};
static constexpr Kind WholeKind = {"WHOLE", WholeFields};

TEST(Report, ValuesAreReachedInSteps) {
    const TPart first{1, "first"}, second{2, "second"};
    const TWhole row{&first, second};
    EXPECT_EQ((textCell<&TWhole::part, &TPart::label>(row).text()), "first");
    EXPECT_EQ((numberCell<other, doubled>(row).text()), "4");
    static constexpr auto Whole =
        recordOf<WholeKind, TWhole, in<other, &TPart::label>, in<&TWhole::part, &TPart::count>, in<other, doubled>,
                 [](const TWhole&) { return Text<64>("a text of its own, longer than any small string"); }>;
    EXPECT_EQ(printed([&] { dispRecord(Whole, row); }),
              "^WHOLE,second,1.00,4,a text of its own, longer than any small string$\n");
}

// The cells of a log's lines, and the columns that all kinds have.
#include "record/interval.h"
#include "wyrtlog/cells.h"
#include "wyrtlog/rate.h"
#include "wyrtlog/sheets.h"

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

TEST(Cells, SplitAtCommas) {
    std::mt19937 random(7);
    for (int round = 0; round < 2000; round++) {
        std::string line;
        for (size_t size = random() % 70; line.size() < size;) line += ",,a\xac-+\x80\x2d"[random() % 8];
        std::vector<std::string> expected(1);
        for (const char c : line)
            if (c == ',') expected.emplace_back();
            else expected.back() += c;
        Cells cells;
        cells.split(line);
        ASSERT_EQ(cells.size(), expected.size()) << line;
        for (size_t i = 0; i < expected.size(); i++) ASSERT_EQ(cells[i], expected[i]) << line;
        EXPECT_EQ(cells[expected.size()], "");
        EXPECT_EQ(cells[NoCell], "");
    }
}

TEST(Cells, Numbers) {
    const struct {
        const char* cell;
        bool plain;
        const char* made; // of what is not plain; null: it is no number
    } Cases[] = {{"0", true, "0"},
                 {"12", true, "12"},
                 {"-7", true, "-7"},
                 {"1.5", true, "1.5"},
                 {"2.5e-07", true, "2.5e-07"},
                 {"1e+20", true, "1e+20"},
                 {"18446744073709551615", true, "18446744073709551615"},
                 {"007", false, "7"},
                 {"1.", false, "1"},
                 {".5", false, "0.5"},
                 {"-", false, nullptr},
                 {"", false, nullptr},
                 {"nan", false, nullptr},
                 {"inf", false, nullptr},
                 {"1e999", true, nullptr},
                 {"0x1", false, nullptr},
                 {"1 ", false, nullptr},
                 {"+1", false, nullptr},
                 {"1e", false, nullptr},
                 {"-0", true, "0"},
                 {"1.5.5", false, nullptr}};
    for (auto& c : Cases) {
        EXPECT_EQ(isPlainNumber(c.cell), c.plain) << c.cell;
        std::string made;
        EXPECT_EQ(appendNumber(c.cell, made), c.made != nullptr) << c.cell;
        EXPECT_EQ(made, c.made ? c.made : "") << c.cell;
    }
}

TEST(Cells, Texts) {
    const auto text = [](std::string_view cell) {
        std::string out;
        return appendText(cell, out) ? out : "damaged";
    };
    EXPECT_EQ(text("a b"), "a b");
    EXPECT_EQ(text("a\\x2Cb\\x22"), "a,b\"");
    EXPECT_EQ(text("\\xFF\\x00"), "\\xFF\\x00"); // not UTF-8; NUL
    EXPECT_EQ(text("\\xC2\\x85"), "\xc2\x85");
    EXPECT_EQ(text("\xff"), "\\xFF");
    EXPECT_EQ(text("\\x4"), "damaged");
    EXPECT_EQ(text("\\"), "damaged");
    EXPECT_FALSE(isPlainText("a\x7f") || isPlainText("\\") || isPlainText("\"") || isPlainText("\xc3\xb6"));
}

// The keys of every record would be there twice.
TEST(Sheets, NoKindHasAFieldLikeTheColumnsOfAll) {
    static const Interval none;
    eachKind(none, [](const auto& kind, const auto&) {
        for (auto& member : kind.members)
            for (const char* name : {"record", "host", "time", "secs", "interval"})
                EXPECT_NE(member.name, name) << kind.tag;
    });
}

#include "view/format.h"
#include "view/page.h"

#include <gtest/gtest.h>

TEST(Numbers, StepsAndDecimals) {
    EXPECT_EQ(countText(0), "0");
    EXPECT_EQ(countText(0.44), "0.4");
    EXPECT_EQ(countText(3), "3");
    EXPECT_EQ(countText(12.6), "13");
    EXPECT_EQ(countText(2894), "2894");
    EXPECT_EQ(countText(9999.4), "9999");
    EXPECT_EQ(countText(9999.6), "10.0K");
    EXPECT_EQ(countText(41234), "41.2K");
    EXPECT_EQ(countText(999960), "1.0M");
    EXPECT_EQ(sizeText(0), "0");
    EXPECT_EQ(sizeText(812), "812");
    EXPECT_EQ(sizeText(1024), "1.0K");
    EXPECT_EQ(sizeText(1023.6), "1.0K");
    EXPECT_EQ(sizeText(412.0 * 1024 * 1024), "412M");
    EXPECT_EQ(sizeText(5.8 * 1024 * 1024 * 1024), "5.8G");
    EXPECT_EQ(sizeText(-2048), "-2.0K");
    EXPECT_EQ(bitsText(10e9), "10G");
    EXPECT_EQ(bitsText(2.5e9), "2.5G");
    EXPECT_EQ(spanText(57 * 60), "57m");
    EXPECT_EQ(spanText(31 * 86400), "31d");
    EXPECT_EQ(fixedText(-0.001, 1), "0.0");
    EXPECT_EQ(fixedText(-1e308, 3).size(), 1U + 309 + 1 + 3); // a forged log can hold it
    EXPECT_EQ(percentText(50, 200), "25.0");
    EXPECT_EQ(percentText(50, 0), "-");
    EXPECT_EQ(percentText({}, 9), "-");
}

// No number of any size makes a text that is out of all bounds or ends with a unit twice.
TEST(Numbers, AnySizeIsShort) {
    for (double value = 1e-9; value < 2e19; value *= 1.37) {
        for (auto& text : {countText(value), sizeText(value)}) EXPECT_LE(text.size(), 6U) << text << " of " << value;
    }
}

TEST(Texts, ControlsDoNotReachATerminal) {
    EXPECT_EQ(safeText("a,b\"c\\d"), "a,b\"c\\d");
    EXPECT_EQ(safeText("a\x1B[2Jb\n"), "a\\x1B[2Jb\\x0A");
    EXPECT_EQ(safeText("\xFF\xC2\x9B"), "\\xFF\\xC2\\x9B");
    EXPECT_EQ(textWidth("a\xC3\xA9\xE6\x97\xA5"), 4U);
    EXPECT_EQ(cutToWidth("a\xE6\x97\xA5z", 2), "a");
}

static std::string cutLine(size_t width, const char* text, bool clauses) {
    Page page(width, false);
    if (clauses) page.clauses(text);
    else page.line(text);
    return page.text();
}

TEST(Page, ClausesAreLeftOutWhole) {
    const char* const text = "9 processes: 2 ran, 1 shown; CPU 99.4%, irq 1%";
    EXPECT_EQ(cutLine(0, text, true), std::string(text) + "\n");
    EXPECT_EQ(cutLine(46, text, true), std::string(text) + "\n");
    EXPECT_EQ(cutLine(45, text, true), "9 processes: 2 ran, 1 shown; CPU 99.4%\n");
    EXPECT_EQ(cutLine(38, text, true), "9 processes: 2 ran, 1 shown; CPU 99.4%\n");
    EXPECT_EQ(cutLine(37, text, true), "9 processes: 2 ran, 1 shown\n");
    EXPECT_EQ(cutLine(5, text, true), "9 pro\n"); // not even one fits
}

TEST(Page, NoNumberIsCutInHalf) {
    EXPECT_EQ(cutLine(7, "at 5678 bytes", false), "at 5678\n");
    EXPECT_EQ(cutLine(6, "at 5678 bytes", false), "at\n");
    EXPECT_EQ(cutLine(5, "at 5.8G", false), "at\n");
    EXPECT_EQ(cutLine(6, "at 5.8G", false), "at\n");
    EXPECT_EQ(cutLine(9, "cc1plus[20257]", false), "cc1plus[\n");
    EXPECT_EQ(cutLine(3, "12345", false), "\n");
}

static constexpr Column Columns[] = {
    {"NAME", 6, 0, true},
    {"a/s", 4, 2, false},
    {"b/s", 4, 1, false},
};
static std::string shown(size_t width) {
    Table table(Columns);
    for (const char* cell : {"x", "1", "22", "a long name", "333", "4"}) table.cell(cell);
    Page page(width, false);
    table.show(page);
    return page.text();
}

TEST(Tables, ColumnsGoByRankAndThenTheLastIsCut) {
    EXPECT_EQ(shown(0), "NAME         a/s  b/s\nx              1   22\na long name  333    4\n");
    EXPECT_EQ(shown(21), shown(0));
    EXPECT_EQ(shown(20), "NAME         b/s\nx             22\na long name    4\n");
    EXPECT_EQ(shown(15), "NAME\nx\na long name\n");
    EXPECT_EQ(shown(4), "NAME\nx\na lo\n");
}

TEST(Tables, ANoteStandsBesideTheTitlesOrBelowTheRows) {
    const auto noted = [](size_t width) {
        Table table(Columns);
        for (const char* cell : {"x", "1", "22"}) table.cell(cell);
        Page page(width, false);
        table.show(page, "(3 idle)");
        return page.text();
    };
    EXPECT_EQ(noted(0), "NAME    a/s  b/s  (3 idle)\nx         1   22\n");
    EXPECT_EQ(noted(26), noted(0));
    EXPECT_EQ(noted(25), "NAME    a/s  b/s\nx         1   22\n       (3 idle)\n");
    EXPECT_EQ(noted(10), "NAME\nx\n       (3\n");
}

TEST(Tables, ColoursTakeNoRoom) {
    Page page(8, true);
    page.line("abcdefghij", Tone::Bad);
    EXPECT_EQ(page.text(), "\x1B[1;31mabcdefgh\x1B[0m\n");
}

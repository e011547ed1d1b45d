#include "base/masking.h"
#include "base/output.h"

#include "tests/unit/made.h"

#include <gtest/gtest.h>

TEST(Output, SaysAsPrintf) {
    EXPECT_EQ(printed([] { say("%s %5d|%-4s|%.2f\n", "a", 12, "b", 1.005), sayText("x%d\n"); }),
              "a    12|b   |1.00\nx%d\n");
    EXPECT_EQ(printed([] { say("%s", ""), sayText(""); }), "");
    EXPECT_EQ(printed([] { sayText(std::string_view("a\0b", 3)); }), std::string("a\0b", 3));
}

// Texts around the 512 bytes that are formatted in place.
TEST(Output, SaysLongLines) {
    for (size_t size : {510U, 511U, 512U, 513U, 6143U, 100000U}) {
        const std::string text(size, 'x');
        EXPECT_EQ(printed([&] { say("<%s>", text.c_str()), say("%s", text.c_str()); }), "<" + text + ">" + text);
    }
}

TEST(Output, NothingLeavesBeforeTheFlush) {
    EXPECT_EQ(printed([] {
                  sayText("first\n");
                  flushOutput();
                  sayText("second\n");
                  flushOutput();
                  flushOutput();
              }),
              "first\nsecond\n");
    Made machine("");
    std::FILE* file = std::tmpfile();
    const int kept = dup(STDOUT_FILENO);
    dup2(fileno(file), STDOUT_FILENO);
    sayText("waiting");
    const auto before = lseek(fileno(file), 0, SEEK_END);
    flushOutput();
    const auto after = lseek(fileno(file), 0, SEEK_END);
    dup2(kept, STDOUT_FILENO);
    close(kept);
    std::fclose(file);
    EXPECT_EQ(before, 0);
    EXPECT_EQ(after, 7);
}

TEST(Output, ControlsAreMasked) {
    static const struct {
        std::string in, out;
    } Cases[] = {
        {"", ""},
        {"plain text\n", "plain text\n"},
        {"tab\there\r\n", "tab?here?\n"},
        {std::string("nul\0", 4), "nul?"},
        {"\x1b[31mred", "?[31mred"},
        {"\x01\x1f\x20\x7e\x7f", "?? ~?"},
        {"\xc3\xa9\xe2\x82\xac\xf0\x9f\x90\xa7", "\xc3\xa9\xe2\x82\xac\xf0\x9f\x90\xa7"}, // é, €, a penguin: unchanged
        {"\xc2\x9b"
         "31m",
         "?31m"}, // CSI as UTF-8: two bytes, one mark
        {"\xc2\x80\xc2\x9f\xc2\xa0", "??\xc2\xa0"},
        {"\x9b"
         "31m",
         "?31m"}, // CSI as one byte
        {"\x80\x9f\xa0\xff", "??\xa0\xff"},
        {"\xe2\x82\x9b", "\xe2\x82\x9b"}, // the byte 9B within a character is no control
        {"\xe2\x9b", "\xe2?"},            // ... but it is one in a character that was cut off
        {"\xe2\x82", "\xe2?"},            // cut off at the end
        {"\xe2\x82x", "\xe2?x"},          // ... and in the middle
        // The first and last character of each length that contain bytes of the upper control range.
        {"\xdf\x80x", "\xdf\x80x"},
        {"\xe0\xa0\x80", "\xe0\xa0\x80"},
        {"\xed\x9f\xbf\xee\x80\x80", "\xed\x9f\xbf\xee\x80\x80"},
        {"\xef\x80\x80", "\xef\x80\x80"},
        {"\xf0\x90\x80\x80\xf4\x8f\xbf\xbf", "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"},
        {"\xc0\x9b", "\xc0?"}, // overlong forms of every length
        {"\xe0\x82\x9b", "\xe0??"},
        {"\xf0\x80\x82\x9b", "\xf0???"},
        {"\xed\xa0\x80", "\xed\xa0?"},            // a surrogate
        {"\xf4\x90\x80\x80", "\xf4???"},          // beyond the last character
        {"\xf4\x8f\xbf\xbf", "\xf4\x8f\xbf\xbf"}, // the last one
        {"\xf5\x80\x80\x80", "\xf5???"},
        {"\xc2", "\xc2"},
        {"\xc3\x1b", "\xc3?"}, // a character cut off by a control
    };
    for (auto& c : Cases) {
        std::string text = c.in;
        maskControls(text);
        EXPECT_EQ(text, c.out) << testing::PrintToString(c.in);
    }
}

TEST(Output, MaskingTwiceIsMaskingOnce) {
    std::string text;
    for (int i = 0; i < 256; i++)
        for (int j = 0; j < 256; j += 5) text += static_cast<char>(i), text += static_cast<char>(j);
    maskControls(text);
    std::string again = text;
    maskControls(again);
    EXPECT_EQ(again, text);
}

#include "base/text.h"

#include <string>

#include <gtest/gtest.h>

TEST(Text, KeepsWhatFits) {
    EXPECT_EQ(Text<5>("abc").view(), "abc");
    EXPECT_EQ(Text<5>("abcd").view(), "abcd"); // n-1
    EXPECT_EQ(Text<5>("abcde").view(), "abcd");
    EXPECT_EQ(Text<5>("abcdefgh").view(), "abcd");
    EXPECT_EQ(Text<1>("a").view(), "");
    EXPECT_TRUE(Text<5>().empty());
    EXPECT_STREQ(Text<5>("abcdefgh").c_str(), "abcd");
}

TEST(Text, AddsUpToItsLimit) {
    Text<8> text("abc");
    text.add("de").add("fghi").add("j");
    EXPECT_EQ(text.view(), "abcdefg");
    EXPECT_EQ(text.size(), 7U);
    text.clear();
    EXPECT_STREQ(text.c_str(), "");
    EXPECT_EQ(text.add("again").view(), "again");
}

TEST(Text, FormatsUpToItsLimit) {
    volatile int fits = 12345, longer = 123456; // volatile, because the compiler would warn about the cut
    const char* volatile letters = "cdefgh";
    EXPECT_EQ(Text<16>().addf("%d-%s", 12, "ab").view(), "12-ab");
    EXPECT_EQ(Text<6>().addf("%d", static_cast<int>(fits)).view(), "12345");
    EXPECT_EQ(Text<6>().addf("%d", static_cast<int>(longer)).view(), "12345");
    Text<6> text("ab");
    text.addf("%s", static_cast<const char*>(letters)).addf("%d", static_cast<int>(fits));
    EXPECT_EQ(text.view(), "abcde");
    EXPECT_STREQ(text.c_str(), "abcde");
}

TEST(Text, CutKeepsTheStart) {
    Text<8> text("abcdef");
    text.cut(9);
    EXPECT_EQ(text.view(), "abcdef");
    text.cut(6);
    EXPECT_EQ(text.view(), "abcdef");
    text.cut(2);
    EXPECT_EQ(text.view(), "ab");
    EXPECT_STREQ(text.c_str(), "ab");
    text.cut(0);
    EXPECT_TRUE(text.empty());
}

TEST(Text, ComparesByContent) {
    Text<8> longer("abcdef");
    longer.cut(3);
    EXPECT_EQ(longer, Text<8>("abc"));
    EXPECT_FALSE(longer == Text<8>("abd"));
    EXPECT_FALSE(longer == Text<8>("ab"));
}

#include "base/pager.h"

#include <gtest/gtest.h>

using Words = std::vector<std::string>;

TEST(Pager, WhichOne) {
    EXPECT_EQ(pagerWords(nullptr, nullptr), (Words{"less", "-FRSX"}));
    EXPECT_EQ(pagerWords(nullptr, "more -d  -p"), (Words{"more", "-d", "-p"}));
    EXPECT_EQ(pagerWords("most", "more"), Words{"most"});
    EXPECT_EQ(pagerWords("", "more"), Words{}); // none is wanted
    EXPECT_EQ(pagerWords(nullptr, " "), Words{});
    EXPECT_EQ(pagerWords("cat", nullptr), Words{});
    EXPECT_EQ(pagerWords("a;rm $HOME|b", nullptr), (Words{"a;rm", "$HOME|b"})); // no shell reads it
}

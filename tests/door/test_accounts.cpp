// Accounts from files, and from getent where the file has none.
#include "base/accounts.h"
#include "base/clock.h"
#include "base/door.h"
#include "base/helper.h"

#include <string>

#include <gtest/gtest.h>

TEST(Accounts, NameOfAnId) {
    constexpr std::string_view Text = "root:x:0:0:root:/root:/bin/bash\n"
                                      "\n"
                                      "# a comment: 7\n"
                                      ":x:8:\n"
                                      "short\n"
                                      "minus:x:-1:1::/:/bin/sh\n"
                                      "large:x:4294967296:1::/:/bin/sh\n"
                                      "words:x:12a:1::/:/bin/sh\n"
                                      "db:x:999:999::/:\n"
                                      "again:x:999:999::/:\n"
                                      "last:x:4294967295";
    struct Case {
        uint32_t id;
        std::string_view name; // empty: none
    };
    for (const auto& c : {Case{0, "root"}, {7, ""}, {8, ""}, {12, ""}, {999, "db"}, {4294967295, "last"}, {1, ""}})
        EXPECT_EQ(accountName(Text, c.id).value_or(""), c.name) << c.id;
    EXPECT_FALSE(accountName("", 0));
}

TEST(Accounts, IdOfAName) {
    constexpr std::string_view Text = "root:x:0:\nadm:x:4:syslog\nodd:x:four:\n";
    EXPECT_EQ(accountId(Text, "adm"), 4U);
    EXPECT_EQ(accountId(Text, "root"), 0U);
    EXPECT_FALSE(accountId(Text, "odd"));
    EXPECT_FALSE(accountId(Text, "ad"));
    EXPECT_FALSE(accountId(Text, ""));
}

TEST(Accounts, TheFileAlone) {
    std::string name = "as it was", known;
    EXPECT_FALSE(readUserName(4123456789, name));
    EXPECT_EQ(name, "as it was");
    ASSERT_TRUE(getUserName(0, known));
    ASSERT_TRUE(readUserName(0, name));
    EXPECT_EQ(name, known);
}

TEST(Accounts, WhatGetentPrints) {
    constexpr int64_t Patience = 10000000; // us, also for a busy machine
    Helper helper;
    const auto root = helper.ask(userQuestion(0, Patience)), none = helper.ask(userQuestion(4123456789, Patience));
    helper.await(getMonotonic() + 2 * Patience);
    std::string known;
    ASSERT_TRUE(getUserName(0, known));
    Answer answer;
    ASSERT_EQ(helper.take(root, answer), Helper::State::Answered);
    EXPECT_EQ(accountName(answer.text, 0), known);
    ASSERT_EQ(helper.take(none, answer), Helper::State::Answered);
    EXPECT_FALSE(accountName(answer.text, 4123456789));
    EXPECT_EQ(answer.status, 2); // as it says that there is none
}

// Accounts from files, and from getent where the file has none.
#include "base/door.h"
#include "base/door/accounts.h"

#include <cerrno>
#include <cstdio>
#include <string>

#include <unistd.h>

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

namespace {
struct PasswdFile {
    std::string path = testing::TempDir() + "passwd-" + std::to_string(getpid());
    explicit PasswdFile(const char* text) {
        FILE* file = fopen(path.c_str(), "w");
        if (file) fputs(text, file), fclose(file);
    }
    ~PasswdFile() { remove(path.c_str()); }
};
} // namespace

static constexpr int64_t Patience = 10000000; // us, also for a busy machine

TEST(Accounts, FileComesFirst) {
    const PasswdFile file("operator2:x:0:0::/:\n");
    std::string name;
    int64_t patience = Patience;
    EXPECT_TRUE(findUserName(file.path.c_str(), 0, name, patience));
    EXPECT_EQ(name, "operator2");
    EXPECT_EQ(patience, Patience); // nobody was waited for
}

TEST(Accounts, GetentKnowsTheRest) {
    std::string name, known;
    ASSERT_TRUE(getUserName(0, known));
    std::string same;
    int64_t patience = Patience;
    ASSERT_TRUE(getUserNameInTime(0, same, patience));
    EXPECT_EQ(same, known);
    EXPECT_TRUE(findUserName("/nonexistent", 0, name, patience));
    EXPECT_EQ(name, known);
}

TEST(Accounts, NobodyKnowsThisOne) {
    std::string name = "as it was";
    int64_t patience = Patience;
    EXPECT_FALSE(findUserName("/etc/passwd", 4123456789, name, patience));
    EXPECT_NE(errno, ETIMEDOUT);
    EXPECT_EQ(name, "as it was");
    EXPECT_LT(patience, Patience); // getent took its time
    EXPECT_GT(patience, 0);
}

// A late answer uses up the patience of all that follow. What the file knows has its name nevertheless.
TEST(Accounts, LateAnswer) {
    const PasswdFile file("operator2:x:7:7::/:\n");
    std::string name;
    for (int64_t patience : {1, 0, -1}) {
        EXPECT_FALSE(findUserName(file.path.c_str(), 0, name, patience));
        EXPECT_EQ(errno, ETIMEDOUT);
        EXPECT_LE(patience, 0);
        EXPECT_TRUE(findUserName(file.path.c_str(), 7, name, patience));
        EXPECT_EQ(name, "operator2");
    }
}

// Each answer is in time, and they use up the patience together.
TEST(Accounts, OnePatienceForAllNames) {
    constexpr int Most = 2000; // names; each takes a process of its own
    int64_t patience = 100000;
    std::string name;
    int asked = 0;
    errno = 0;
    while (errno != ETIMEDOUT && asked < Most) findUserName("/nonexistent", 4123456789, name, patience), asked++;
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(patience, 0);
}

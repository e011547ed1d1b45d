// Names of users, inodes, and texts of the process report of the classic form.
#include "classic/monitor/proc.h"
#include "tests/unit/child.h"
#include "tests/unit/made.h"
#include "tests/unit/proctable.h"

#include <cerrno>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// --- Users, inodes

static std::string usersFrom(int first, int count, const std::string& name) {
    std::string lines;
    for (int uid = first; uid < first + count; uid++)
        lines += "user " + std::to_string(uid) + " " + name + std::to_string(uid) + "\n";
    return lines;
}

// In a process of its own, because names are kept until its end.
static int namesOfManyUsers() {
    const Made machine(usersFrom(0, 1002, "u") + "step 1\n" + usersFrom(0, 1002, "v"));
    std::vector<const char*> names;
    for (int uid = 0; uid < 1002; uid++) names.push_back(getuser(uid));
    World::current->pause(0);
    int wrong = 0;
    for (int uid = 0; uid < 1002; uid++) {
        const auto nameOf = [uid](char letter) { return std::string(1, letter).append(std::to_string(uid)); };
        if (names[static_cast<size_t>(uid)] != nameOf('u')) wrong++; // still valid
        if (getuser(uid) != nameOf(uid < 1000 ? 'u' : 'v')) wrong++; // beyond a thousand the name is looked up again
    }
    if (getuser(-7) != std::string("N/A(-7)")) wrong++;
    return wrong;
}

TEST_F(Processes, NamesOfMoreThanAThousandUsers) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(endChild(namesOfManyUsers() ? 1 : 0), testing::ExitedWithCode(0), "");
}

TEST_F(Processes, NamesHave15CharactersAtTheMost) {
    const Made machine("user 51001 fifteen-letters\nuser 51002 sixteen-letters.\n");
    EXPECT_STREQ(getuser(51001), "fifteen-letters");
    EXPECT_STREQ(getuser(51002), "sixteen-letters");
    EXPECT_STREQ(getuser(51003), "N/A(51003)");
    EXPECT_STREQ(getuser(std::numeric_limits<int32_t>::min()), "N/A(-2147483648");
}

TEST_F(Processes, InodeOfAFile) {
    const Made machine("text /there \"\"\ninode /there 4711\nfail stat /locked EACCES\n");
    EXPECT_EQ(getinode("/there"), 4711);
    EXPECT_EQ(getinode("/not-there"), -ENOENT);
    EXPECT_EQ(getinode("/locked"), -EACCES);
}

// --- Texts of the report

TEST_F(Processes, CommandsAsColumnsShowThem) {
    TProc p;
    p.cmd = "short";
    for (int n : {0, 1, 9, 10, 11}) {
        table.texts = std::string(static_cast<size_t>(n), 'x');
        p.arg = {0, static_cast<uint32_t>(n)};
        for (int length : {-1, 0, 10}) {
            const auto command = getCommand(table, p, length);
            const bool isShort = n == 0 || length < 1;
            EXPECT_EQ(command.text, isShort ? "short" : table.texts.substr(0, 10)) << n << " " << length;
            EXPECT_EQ(command.dots, n == 11 && !isShort ? "..." : "") << n << " " << length;
        }
    }
}

TEST_F(Processes, LifecycleLinesInBothForms) {
    const Made machine("");
    TProc p;
    p.pid = 12, p.ppid = 3, p.cmd = "short", p.user = "me";
    const auto told = [&](char what) { return printed([&, what] { ExtraProcInfo(table, &p, what); }); };
    EXPECT_EQ(told('C'), "        ++++ Created \"short\" [me / PID 12 / PPID 3]\n");
    EXPECT_EQ(told('T'), "        ---- Terminated \"short\" [me / PID 12 / PPID 3]\n");
    shooting = 1;
    table.texts = std::string(61, 'x');
    for (uint32_t n : {60U, 61U}) {
        p.arg = {0, n};
        const auto command = std::string(60, 'x') + (n == 61 ? "..." : "");
        EXPECT_EQ(told('C'), "^CPROC," + command + ",me,12,3$\n");
        EXPECT_EQ(told('T'), "^TPROC," + command + ",me,12,3$\n");
    }
}

TEST_F(Processes, DescriptionsOfThreads) {
    const Made machine("text ./desc/1-2 \"100\\nworker\\n\"\ntext ./desc/1-3 \"100\"\ndir ./desc/1-4\n");
    EXPECT_EQ(getDescription(1, 2, 100).view(), "worker");
    EXPECT_EQ(getDescription(1, 2, 101).view(), "");
    EXPECT_EQ(getDescription(1, 3, 0).view(), "");
    EXPECT_EQ(getDescription(1, 4, 0).view(), "");
    EXPECT_EQ(getDescription(2, 1, 0).view(), "");
    EXPECT_EQ(readDescription("4294967297\nlater\n", 4294967297).view(), "later"); // beyond 32 bits
    EXPECT_EQ(readDescription("4294967297\nlater\n", 4294967298).view(), "");
}

// What push and serve keep for a restart: a file that is replaced in one step.
#include "wyrtlog/statefile.h"

#include "base/infile.h"
#include "tests/unit/logcommand.h"

#include <cerrno>

TEST(State, IsReplacedInOneStep) {
    Made machine("dir /state\n");
    EXPECT_FALSE(readState("/state/a", 100));
    EXPECT_EQ(errno, ENOENT);
    ASSERT_TRUE(replaceState("/state/a", "one"));
    ASSERT_TRUE(replaceState("/state/a", "two"));
    EXPECT_EQ(readState("/state/a", 100), "two");
    EXPECT_FALSE(InFile().open("/state/a.new"));
    EXPECT_FALSE(readState("/state/a", 2));
    EXPECT_EQ(errno, EFBIG);
    EXPECT_FALSE(readState("/state", 2));
}

TEST(State, AFullDiskKeepsTheOldOne) {
    Made machine("dir /state\nfail write /state/a.new ENOSPC\n");
    save("/state/a", "old");
    EXPECT_FALSE(replaceState("/state/a", "new"));
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_NE(readState("/state/a", 100).value_or("none").find("old"), std::string::npos);
}

// What would be refused at the next start is not kept.
TEST(State, OneThatIsTooLongKeepsTheOldOne) {
    Made machine("dir /state\n");
    ASSERT_TRUE(replaceState("/state/a", "old", 3));
    EXPECT_FALSE(replaceState("/state/a", "long", 3));
    EXPECT_EQ(errno, EFBIG);
    EXPECT_EQ(readState("/state/a", 3), "old");
    EXPECT_FALSE(InFile().open("/state/a.new"));
}

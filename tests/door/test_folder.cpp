// Names, links, the lock of a folder, and programs that work beside this one.
#include "base/child.h"
#include "base/clock.h"
#include "base/folder.h"
#include "base/outfile.h"
#include "base/program.h"
#include "base/wait.h"
#include "tests/unit/child.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {
class Folder : public testing::Test {
protected:
    std::string at = (fs::temp_directory_path() / "wyrt-folder.XXXXXX").string();
    void SetUp() override { ASSERT_TRUE(mkdtemp(at.data())); }
    void TearDown() override { fs::remove_all(at); }
    std::string path(const char* name) const { return at + "/" + name; }
    void make(const char* name) const {
        OutFile file;
        ASSERT_TRUE(file.open(path(name), OutFile::How::New) && file.write(name));
    }
};
} // namespace

TEST_F(Folder, IsMadeOnce) {
    EXPECT_TRUE(makeFolder(path("logs").c_str()));
    EXPECT_TRUE(makeFolder(path("logs").c_str()));
    EXPECT_TRUE(fs::is_directory(path("logs")));
    EXPECT_FALSE(makeFolder(path("none/logs").c_str()));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_TRUE(syncFolder(at.c_str()));
    EXPECT_FALSE(syncFolder(path("none").c_str()));
}

TEST_F(Folder, NamesAreReplacedInOneStep) {
    make("a"), make("b");
    EXPECT_TRUE(renameFile(path("a").c_str(), path("b").c_str()));
    EXPECT_FALSE(fs::exists(path("a")));
    EXPECT_EQ(fs::file_size(path("b")), 1U);
    EXPECT_FALSE(renameFile(path("a").c_str(), path("c").c_str()));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_TRUE(makeLink("b", path("link").c_str()));
    EXPECT_EQ(fs::read_symlink(path("link")), "b");
    EXPECT_FALSE(makeLink("c", path("link").c_str()));
    EXPECT_EQ(errno, EEXIST);
}

TEST_F(Folder, HasOneOwner) {
    FolderLock first, second;
    EXPECT_TRUE(first.take(at.c_str()));
    EXPECT_FALSE(second.take(at.c_str()));
    EXPECT_EQ(errno, EWOULDBLOCK);
    FolderLock moved = std::move(first);
    EXPECT_FALSE(second.take(at.c_str()));
    moved.release();
    EXPECT_TRUE(second.take(at.c_str()));
    EXPECT_FALSE(first.take(path("none").c_str()));
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Folder, AFileIsMadeOnceAndShared) {
    const mode_t before = umask(077);
    OutFile file, again;
    EXPECT_TRUE(file.open(path("x"), OutFile::How::Create));
    file.shareWithAdm();
    umask(before);
    EXPECT_FALSE(again.open(path("x"), OutFile::How::Create));
    EXPECT_EQ(errno, EEXIST);
    struct stat status{};
    ASSERT_EQ(stat(path("x").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
}

// --- Programs beside this one

static std::optional<int> awaitEnd(Child& child) {
    constexpr int64_t Longest = 10000000, Step = 1000; // microseconds
    for (const int64_t end = getMonotonic() + Longest; getMonotonic() < end; waitReady(getMonotonic() + Step, {}))
        if (auto status = child.ended()) return status;
    return {};
}

static std::optional<int> statusOf(const std::string& script) {
    Child child;
    const std::string programs[] = {"", "/nowhere/sh", "sh"};
    EXPECT_TRUE(child.start(programs, {"sh", "-c", script}));
    EXPECT_TRUE(child.isRunning());
    const auto status = awaitEnd(child);
    EXPECT_FALSE(child.isRunning());
    return status;
}

TEST(Child, ItsStatusIsThatOfTheShell) {
    EXPECT_EQ(statusOf("exit 7"), 7);
    EXPECT_EQ(statusOf("kill -9 $$"), 137);
    EXPECT_EQ(statusOf("read line && exit 1; exit 0"), 0); // it has nothing to read
    EXPECT_EQ(statusOf("test \"$(ps -o ni= -p $$)\" -eq 19"), 0);
    Child child;
    EXPECT_FALSE(child.ended());
    const std::string none[] = {"/nowhere/sh", "wyrt-is-no-such-program"};
    EXPECT_TRUE(child.start(none, {"sh"}));
    EXPECT_EQ(awaitEnd(child), 127);
    const std::string folder[] = {"/tmp"};
    EXPECT_TRUE(child.start(folder, {"sh"}));
    EXPECT_EQ(awaitEnd(child), 126);
}

TEST(Child, EndsWithItsVariable) {
    const int64_t start = getMonotonic();
    {
        Child child;
        const std::string programs[] = {"sleep"};
        ASSERT_TRUE(child.start(programs, {"sleep", "600"}));
        EXPECT_FALSE(child.ended());
    }
    EXPECT_LT(getMonotonic() - start, 60000000);
}

TEST(Memory, IsLockedOrNot) {
    // Where it is locked, what is allocated afterwards is, too.
    if (!lockMemory()) GTEST_SKIP() << "not allowed here";
    std::string much(size_t{8} << 20, 'x');
    EXPECT_EQ(much.back(), 'x');
}

// In a process of its own, because a limit that was lowered stays.
TEST(Descriptors, AsManyAsTheLimitsAllow) {
    const pid_t child = fork();
    if (child == 0) {
        rlimit limit{20, 100};
        bool good = setrlimit(RLIMIT_NOFILE, &limit) == 0;
        good = good && allowDescriptors(10) == 10 && allowDescriptors(50) == 50;
        good = good && getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur == 50;
        good = good && allowDescriptors(500) == 100;
        endChild(good ? 0 : 1);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

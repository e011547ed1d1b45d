// Held files and directories, statx, on the real kernel.
#include "base/filestatus.h"
#include "base/held.h"
#include "base/outfile.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {
class Held : public testing::Test {
protected:
    std::string folder = (fs::temp_directory_path() / "wyrt-held.XXXXXX").string();
    Contents text;

    void SetUp() override { ASSERT_NE(mkdtemp(folder.data()), nullptr); }
    void TearDown() override { fs::remove_all(folder); }
    std::string made(const std::string& name, const std::string& content) const {
        std::ofstream(folder + "/" + name, std::ios::binary) << content;
        return folder + "/" + name;
    }
};
} // namespace

TEST_F(Held, AKernelFileSaysWhatIsNow) {
    HeldFile whole(Root(), "/proc/stat");
    ASSERT_TRUE(whole.read(text));
    const std::string first(text.view());
    EXPECT_EQ(first.substr(0, 4), "cpu ");
    EXPECT_EQ(first.back(), '\n');
    const pid_t child = fork();
    if (child == 0) _exit(0);
    waitpid(child, nullptr, 0);
    ASSERT_TRUE(whole.read(text));
    const std::string second(text.view());
    const auto forks = [](const std::string& of) { return std::stoull(of.substr(of.find("\nprocesses ") + 11)); };
    EXPECT_GT(forks(second), forks(first));
    EXPECT_NE(second.find("\nsoftirq "), second.npos);
}

TEST_F(Held, AFileOfManyPagesIsReadWhole) {
    HeldFile held(Root(), "/proc/self/smaps"); // several reads of a page each
    ASSERT_TRUE(held.read(text));
    EXPECT_GT(text.size, 4096U);
    EXPECT_EQ(text.view().substr(text.size - 1), "\n");
    ASSERT_TRUE(held.read(text, Reading::Whole, 100));
    EXPECT_EQ(text.size, 100U);
}

TEST_F(Held, ReadsFromTheStartAgain) {
    const auto name = made("file", "one");
    HeldFile held(name);
    ASSERT_TRUE(held.read(text));
    EXPECT_EQ(text.view(), "one");
    made("file", "another");
    ASSERT_TRUE(held.read(text));
    EXPECT_EQ(text.view(), "another");
    EXPECT_FALSE(held.changed());
}

TEST_F(Held, TellsWhyThereIsNoText) {
    HeldFile missing(folder + "/missing");
    EXPECT_FALSE(missing.read(text));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(missing.isOpen());
    made("missing", "here now");
    EXPECT_TRUE(missing.read(text)); // opened as soon as there is one
    EXPECT_EQ(text.view(), "here now");
    HeldFile none, directory(folder);
    EXPECT_FALSE(none.read(text));
    EXPECT_EQ(errno, EBADF);
    EXPECT_FALSE(directory.read(text));
    EXPECT_EQ(errno, EISDIR);
}

TEST_F(Held, AProcessThatEndedHasNoText) {
    const pid_t child = fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    const auto name = "/proc/" + std::to_string(child);
    HeldDirectory place;
    HeldFile stat;
    ASSERT_TRUE(place.open(name.c_str()));
    ASSERT_TRUE(stat.open(place, "stat"));
    EXPECT_TRUE(stat.read(text));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_FALSE(stat.read(text));
    EXPECT_EQ(errno, ESRCH);
    EXPECT_FALSE(stat.isOpen()); // it has no path to go back to
    EXPECT_FALSE(stat.read(text));
}

TEST_F(Held, MountsThatChangeAreAnnounced) {
    HeldFile mounts(Root(), "/proc/self/mountinfo");
    EXPECT_FALSE(mounts.changed());
    ASSERT_TRUE(mounts.read(text));
    while (mounts.changed()) {
    } // what others mount meanwhile
    ASSERT_TRUE(mounts.isOpen());
}

TEST_F(Held, ADirectoryIsListedAgain) {
    made("a", "");
    fs::create_directory(folder + "/b");
    fs::create_symlink("a", folder + "/c");
    HeldDirectory held;
    ASSERT_TRUE(held.open(folder.c_str()));
    Listing listing;
    const auto names = [&] {
        std::set<std::pair<std::string, Listing::Kind>> found;
        EXPECT_TRUE(listing.start(held));
        for (Listing::Entry entry; listing.next(entry);) {
            struct stat status{};
            EXPECT_EQ(lstat((folder + "/" + entry.name).c_str(), &status), 0);
            EXPECT_EQ(entry.inode, status.st_ino);
            found.emplace(entry.name, entry.kind);
        }
        return found;
    };
    using Kind = Listing::Kind;
    EXPECT_EQ(names(),
              (std::set<std::pair<std::string, Kind>>{{"a", Kind::File}, {"b", Kind::Directory}, {"c", Kind::Link}}));
    fs::remove(folder + "/c");
    for (int i = 0; i < 2000; i++) made("file-with-a-long-name-" + std::to_string(i), "");
    EXPECT_EQ(names().size(), 2002U); // more than the buffer holds
    fs::remove_all(folder);
    ASSERT_TRUE(listing.start(held));
    Listing::Entry entry;
    EXPECT_FALSE(listing.next(entry));
    HeldDirectory none;
    EXPECT_FALSE(none.open((folder + "/none").c_str()));
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Held, AnotherRoot) {
    fs::create_directories(folder + "/proc");
    made("proc/stat", "made up\n");
    const Root root(folder + "//");
    HeldFile stat(root, "/proc/stat");
    ASSERT_TRUE(stat.read(text));
    EXPECT_EQ(text.view(), "made up\n");
}

TEST_F(Held, StatusOfAFile) {
    const auto name = made("file", "12345");
    struct stat status{};
    ASSERT_EQ(stat(name.c_str(), &status), 0);
    FileStatus found;
    ASSERT_TRUE(getFileStatus(name.c_str(), found));
    EXPECT_EQ(found.size, 5U);
    EXPECT_EQ(found.inode, status.st_ino);
    EXPECT_EQ(found.modified_ns, int64_t{status.st_mtim.tv_sec} * 1000000000 + status.st_mtim.tv_nsec);
    EXPECT_EQ(found.mode, status.st_mode);
    EXPECT_EQ(makedev(found.major, found.minor), status.st_dev);
    HeldDirectory place;
    ASSERT_TRUE(place.open(folder.c_str()));
    FileStatus again;
    EXPECT_TRUE(getFileStatus(place, "file", again));
    EXPECT_EQ(again.inode, found.inode);
    EXPECT_FALSE(getFileStatus(place, "missing", again));
    EXPECT_EQ(errno, ENOENT);
}

// Anybody can give a file any time that its filesystem has room for.
TEST_F(Held, TimesFarAway) {
    constexpr int64_t Seconds[] = {0, -62135596800, 32503680000, INT64_MAX, INT64_MIN};
    const auto name = made("file", "");
    int64_t before = 0;
    for (const int64_t seconds : Seconds) {
        const timespec times[] = {{0, 0}, {seconds, 7}};
        if (utimensat(AT_FDCWD, name.c_str(), times, 0) != 0) continue; // not every filesystem takes all of them
        FileStatus found;
        ASSERT_TRUE(getFileStatus(name.c_str(), found));
        if (seconds == 0) EXPECT_EQ(found.modified_ns, 7);
        else if (seconds < 0) EXPECT_LT(found.modified_ns, 0);
        else EXPECT_GT(found.modified_ns, before);
        if (seconds == 0) before = found.modified_ns;
    }
}

TEST_F(Held, AFileIsWrittenCutAndGoneOnWith) {
    const auto name = folder + "/log";
    OutFile file;
    ASSERT_TRUE(file.open(name, OutFile::How::New));
    EXPECT_TRUE(file.write("first\nhalf"));
    EXPECT_TRUE(file.truncate(6));
    uint64_t size = 0;
    EXPECT_TRUE(file.size(size));
    EXPECT_EQ(size, 6U);
    EXPECT_TRUE(file.sync());
    EXPECT_TRUE(file.close());
    ASSERT_TRUE(file.open(name, OutFile::How::Append));
    EXPECT_TRUE(file.write("second\n"));
    EXPECT_TRUE(file.close());
    ASSERT_TRUE(readFile(name.c_str(), text));
    EXPECT_EQ(text.view(), "first\nsecond\n");
    EXPECT_FALSE(file.open(folder + "/none/log", OutFile::How::New));
    EXPECT_EQ(errno, ENOENT);
    ASSERT_TRUE(file.open("/dev/full", OutFile::How::Append));
    EXPECT_FALSE(file.write("x"));
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(Held, StatusOfDeviceFilesAndDeletedFiles) {
    FileStatus device;
    ASSERT_TRUE(getFileStatus("/dev/null", device));
    EXPECT_TRUE(S_ISCHR(device.mode));
    EXPECT_EQ(device.deviceMajor, 1U);
    EXPECT_EQ(device.deviceMinor, 3U);

    const std::string name = folder + "/file";
    const int fd = open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(write(fd, "12345", 5), 5);
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    FileStatus there, deleted;
    ASSERT_TRUE(getFileStatus(link.c_str(), there));
    EXPECT_EQ(there.links, 1U);
    ASSERT_EQ(unlink(name.c_str()), 0);
    ASSERT_TRUE(getFileStatus(link.c_str(), deleted));
    EXPECT_EQ(deleted.links, 0U);
    EXPECT_EQ(deleted.size, 5U);
    EXPECT_EQ(deleted.inode, there.inode);
    close(fd);
}

TEST(OneOpenFile, DuplicatesAndOthers) {
    const int first = open("/dev/null", O_RDONLY | O_CLOEXEC), other = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const int copy = dup(first);
    ASSERT_TRUE(first >= 0 && other >= 0 && copy >= 0);
    const int self = getpid();
    const auto same = isOneOpenFile({self, first}, {self, copy});
    if (same) { // some kernels have no kcmp
        EXPECT_TRUE(*same);
        EXPECT_EQ(isOneOpenFile({self, first}, {self, other}), false);
    }
    close(copy);
    EXPECT_EQ(isOneOpenFile({self, first}, {self, copy}), std::nullopt);
    close(first);
    close(other);
}

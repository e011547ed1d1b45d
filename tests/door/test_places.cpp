// Places, directories, links and the removal of files.
#include "base/door.h"

#include "classic/collect/flushed.h"
#include "tests/door/system.h"

#include <cerrno>
#include <filesystem>
#include <set>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

// Whoever is given a place cannot close it.
template <typename P> static constexpr bool Closable = requires(P& place) { place.close(); };
static_assert(Closable<HeldPlace> && Closable<Directory> && !Closable<Place>);

TEST_F(System, NamesBelowAPlace) {
    fs::create_directory(path("dir"));
    made("dir/file", "inside");
    HeldPlace top, dir;
    ASSERT_TRUE(top.open(folder.c_str()));
    ASSERT_TRUE(dir.open(top, "dir"));
    ASSERT_TRUE(readFile(dir, "file", text));
    EXPECT_EQ(text.view(), "inside");
    EXPECT_FALSE(readFile(top, "file", text));
    EXPECT_EQ(errno, ENOENT);
    HeldPlace none;
    EXPECT_FALSE(none.open(top, "missing"));
    EXPECT_FALSE(none.open((path("dir") + "/file").c_str())); // not a directory
    EXPECT_EQ(errno, ENOTDIR);
    fs::rename(path("dir"), path("renamed"));
    EXPECT_TRUE(readFile(dir, "file", text)); // the place is the directory, not its name
}

TEST_F(System, ListsADirectory) {
    std::set<std::string> expected{".", ".."};
    for (int i = 0; i < 500; i++) expected.insert("entry" + std::to_string(i)), made("entry" + std::to_string(i), "");
    HeldPlace place;
    ASSERT_TRUE(place.open(folder.c_str()));
    for (bool relative : {false, true}) {
        Directory directory;
        ASSERT_TRUE(relative ? directory.open(place, ".") : directory.open(folder.c_str()));
        std::set<std::string> names;
        for (Directory::Entry entry; directory.next(entry);) {
            EXPECT_TRUE(names.insert(entry.name).second);
            uint64_t inode = 0;
            EXPECT_TRUE(entry.name[0] == '.' || inodeOf(path(entry.name).c_str(), inode));
            EXPECT_TRUE(entry.name[0] == '.' || inode == entry.inode);
        }
        EXPECT_EQ(names, expected);
    }
    Directory none;
    EXPECT_FALSE(none.open(path("missing").c_str()));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(none.open(path("entry1").c_str()));
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_FALSE(none.open(place, "missing"));
}

TEST_F(System, NothingStaysOpen) {
    const auto handles = [] {
        size_t count = 0;
        for ([[maybe_unused]] auto& entry : fs::directory_iterator("/proc/self/fd")) count++;
        return count;
    };
    const auto name = made("file", "x");
    const auto before = handles();
    for (int i = 0; i < 50; i++) {
        HeldPlace place, again;
        Directory directory;
        Contents contents;
        MountTable table;
        TSpace space;
        place.open(folder.c_str()), place.open(folder.c_str());
        directory.open(place, "."), directory.open(folder.c_str());
        again.open(place, "missing"), directory.open(place, "missing");
        readFile(name.c_str(), contents), readFile(folder.c_str(), contents), canOpen(name.c_str());
        table.open("/proc/self/mounts"), table.open(path("missing").c_str());
        getSpace(folder.c_str(), space);
        runCommand("true", contents);
    }
    EXPECT_EQ(handles(), before);
}

TEST_F(System, Links) {
    HeldPlace place;
    ASSERT_TRUE(place.open(folder.c_str()));
    const std::string target(300, 't');
    ASSERT_EQ(symlink(target.c_str(), path("link").c_str()), 0);
    char buffer[400];
    for (size_t size : {1U, 299U, 300U, 301U}) {
        std::fill(std::begin(buffer), std::end(buffer), '#');
        const auto length = readLink(place, "link", buffer, size);
        ASSERT_EQ(length, static_cast<ptrdiff_t>(std::min<size_t>(size, 300)));
        EXPECT_EQ(std::string(buffer, static_cast<size_t>(length)), target.substr(0, size));
        EXPECT_EQ(buffer[length], '#'); // no terminator, and nothing is written beyond the end
    }
    EXPECT_EQ(readLink(place, "missing", buffer, sizeof buffer), -1);
    EXPECT_EQ(errno, ENOENT);
    made("file", "");
    EXPECT_EQ(readLink(place, "file", buffer, sizeof buffer), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(System, InodesAndRemoval) {
    const auto name = made("file", "x");
    ASSERT_EQ(symlink("file", path("link").c_str()), 0);
    struct stat status{};
    ASSERT_EQ(stat(name.c_str(), &status), 0);
    uint64_t inode = 0;
    ASSERT_TRUE(inodeOf(path("link").c_str(), inode)); // that of the link's target
    EXPECT_EQ(inode, status.st_ino);
    EXPECT_TRUE(removeFile(path("link").c_str()));
    EXPECT_TRUE(fs::exists(name));
    EXPECT_FALSE(removeFile(folder.c_str()));
    EXPECT_EQ(errno, EISDIR);
    EXPECT_TRUE(removeFile(name.c_str()));
    EXPECT_FALSE(removeFile(name.c_str()));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(inodeOf(name.c_str(), inode));
    EXPECT_EQ(errno, ENOENT);
}

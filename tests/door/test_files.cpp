// Tests the real door on real files. The other tests use a made-up door in its place.
#include "base/door.h"

#include "tests/door/system.h"
#include "tests/unit/nomemory.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

// Sizes around the buffer's first size and those that it grows to.
TEST_F(System, ReadsFilesOfEverySize) {
    for (size_t size : {0U, 1U, 16383U, 16384U, 16385U, 32767U, 32768U, 32769U, 200000U, 10U}) {
        const auto content = pattern(size);
        const auto name = made("file", content);
        for (auto how : {Reading::Whole, Reading::Single}) {
            Contents fresh;
            ASSERT_TRUE(readFile(name.c_str(), fresh, how));
            EXPECT_EQ(fresh.view(), content) << size;
            EXPECT_EQ(fresh.error, 0);
            ASSERT_TRUE(readFile(name.c_str(), text, how)); // reuses the buffer of the previous file
            EXPECT_EQ(text.view(), content) << size;
        }
    }
    EXPECT_GE(text.capacity, 200000U); // kept from file to file
}

TEST_F(System, ReadsAtMostWhatIsAsked) {
    const auto content = pattern(40000);
    const auto name = made("file", content);
    for (size_t most : {0U, 1U, 16383U, 16384U, 16385U, 39999U, 40000U, 40001U}) {
        ASSERT_TRUE(readFile(name.c_str(), text, Reading::Whole, most));
        EXPECT_EQ(text.view(), std::string_view(content).substr(0, most)) << most;
    }
}

TEST_F(System, TellsWhyAFileCannotBeRead) {
    errno = 0;
    EXPECT_FALSE(readFile(path("missing").c_str(), text));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(readFile((made("file", "x") + "/below").c_str(), text));
    EXPECT_EQ(errno, ENOTDIR);
    ASSERT_EQ(symlink("loop", path("loop").c_str()), 0);
    EXPECT_FALSE(readFile(path("loop").c_str(), text));
    EXPECT_EQ(errno, ELOOP);
    EXPECT_FALSE(canOpen(path("missing").c_str()));
    EXPECT_TRUE(canOpen(path("file").c_str()));
}

TEST_F(System, ADirectoryOpensAndHasNoText) {
    made("file", "left from before");
    ASSERT_TRUE(readFile(path("file").c_str(), text));
    ASSERT_TRUE(readFile(folder.c_str(), text));
    EXPECT_EQ(text.view(), "");
    EXPECT_EQ(text.error, EISDIR);
}

// Nobody writes to the FIFO: an ordinary open would wait for ever.
TEST_F(System, AFifoDoesNotHoldTheRun) {
    ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
    alarm(20);
    EXPECT_TRUE(readFile(path("fifo").c_str(), text));
    EXPECT_EQ(text.view(), "");
    EXPECT_TRUE(canOpen(path("fifo").c_str()));
    const int writer = open(path("fifo").c_str(), O_RDWR);
    ASSERT_GE(writer, 0);
    EXPECT_TRUE(readFile(path("fifo").c_str(), text)); // held open by a writer that writes nothing
    EXPECT_EQ(text.view(), "");
    EXPECT_EQ(text.error, EAGAIN);
    close(writer);
    TSpace space;
    EXPECT_EQ(getSpace(path("fifo").c_str(), space), SpaceAnswer::Ok);
    alarm(0);
}

// The name leads to a socket, which cannot be opened, and to a device, which never ends.
TEST_F(System, SocketsAndDevicesDoNotHoldTheRun) {
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const auto name = path("socket");
    ASSERT_LT(name.size(), sizeof address.sun_path);
    std::copy_n(name.c_str(), name.size() + 1, address.sun_path);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_FALSE(readFile(name.c_str(), text));
    EXPECT_EQ(errno, ENXIO);
    close(listener);
    fs::create_symlink("/dev/zero", path("endless"));
    EXPECT_TRUE(readFile(path("endless").c_str(), text, Reading::Whole, 100000));
    EXPECT_EQ(text.view(), std::string(100000, '\0'));
}

TEST_F(System, KernelFiles) {
    ASSERT_TRUE(readFile("/proc/stat", text, Reading::Single));
    const std::string stat(text.view());
    EXPECT_EQ(stat.substr(0, 4), "cpu ");
    EXPECT_EQ(stat.back(), '\n');
    EXPECT_NE(stat.find("\nprocs_blocked "), stat.npos);
    ASSERT_TRUE(readFile("/proc/vmstat", text));
    const std::string vmstat(text.view());
    size_t lines = 0, expected = 0;
    for (char c : vmstat) lines += c == '\n' ? 1 : 0;
    std::ifstream file("/proc/vmstat");
    for (std::string line; std::getline(file, line);) expected++;
    EXPECT_EQ(lines, expected);
}

// When there is no memory for a file's text, no descriptor stays open.
TEST(SystemMemory, ReadWithoutMemory) {
    NEEDS_ITS_HEAP();
    EXPECT_TRUE(withoutMemory(16384, [] {
        const int before = dup(STDERR_FILENO);
        close(before);
        try {
            Contents text;
            readFile("/proc/self/stat", text);
            return false;
        } catch (const std::bad_alloc&) {
            return dup(STDERR_FILENO) == before;
        }
    }));
}

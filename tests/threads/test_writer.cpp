#include "wyrt/logfile.h"
#include "wyrt/writer.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
class WriterTest : public testing::TestWithParam<bool> {
protected:
    std::string folder = (std::filesystem::temp_directory_path() / "wyrt-writer.XXXXXX").string();
    void SetUp() override { ASSERT_TRUE(mkdtemp(folder.data())); }
    void TearDown() override {
        setLimit(RLIM_INFINITY);
        std::filesystem::remove_all(folder);
    }
    std::string path() const { return folder + "/log"; }
    // Files that grow beyond it fail with EFBIG, as a full disk fails with ENOSPC.
    static void setLimit(rlim_t bytes) {
        signal(SIGXFSZ, SIG_IGN);
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        limit.rlim_cur = std::min(bytes, limit.rlim_max);
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    static std::unique_ptr<Writer> writer(const std::string& to, OutFile::How how = OutFile::How::New) {
        auto file = std::make_unique<LogFile>();
        EXPECT_TRUE(file->open(to, how));
        return GetParam() ? threadWriter(std::move(file)) : directWriter(std::move(file));
    }
    std::string text() const {
        std::ostringstream all;
        all << std::ifstream(path(), std::ios::binary).rdbuf();
        return all.str();
    }
};
} // namespace

static void await(const std::function<bool()>& condition) {
    for (int i = 0; i < 5000 && !condition(); i++) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

TEST_P(WriterTest, WritesWholePiecesInTheirOrder) {
    auto to = writer(path());
    std::string expected;
    for (int i = 0; i < 2000; i++) {
        const std::string piece = "interval " + std::to_string(i) + "\n";
        await([&] { return to->ready(); });
        ASSERT_TRUE(to->ready());
        to->put(Piece(std::string(piece)));
        expected += piece;
    }
    EXPECT_TRUE(to->finish());
    EXPECT_EQ(text(), expected);
    auto again = writer(path(), OutFile::How::Append);
    again->put(Piece("more\n"));
    EXPECT_TRUE(again->finish());
    EXPECT_EQ(text(), expected + "more\n");
}

TEST_P(WriterTest, WhatFindsNoRoomIsWrittenLater) {
    auto to = writer(path());
    to->put(Piece(std::string(10, 'a')));
    await([&] { return text().size() == 10; });
    setLimit(15);
    to->put(Piece(std::string(10, 'b'))); // half of it fits
    await([&] { return !to->ready() && text().size() == 15; });
    EXPECT_FALSE(to->ready());
    EXPECT_EQ(to->error(), EFBIG);
    EXPECT_FALSE(to->isOver());
    setLimit(RLIM_INFINITY);
    await([&] { return to->ready(); });
    ASSERT_TRUE(to->ready());
    to->put(Piece(std::string(10, 'c')));
    EXPECT_TRUE(to->finish());
    EXPECT_EQ(text(), "aaaaaaaaaabbbbbbbbbbcccccccccc");
}

TEST_P(WriterTest, AtTheEndNoPieceStandsInPart) {
    auto to = writer(path());
    to->put(Piece(std::string(10, 'a')));
    await([&] { return text().size() == 10; });
    setLimit(15);
    to->put(Piece(std::string(10, 'b')));
    await([&] { return !to->ready(); });
    EXPECT_FALSE(to->finish());
    EXPECT_EQ(to->error(), EFBIG);
    EXPECT_EQ(text(), "aaaaaaaaaa");
}

TEST_P(WriterTest, ItIsOverWhenNobodyReads) {
    signal(SIGPIPE, SIG_IGN);
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    const int reader = open(path().c_str(), O_RDONLY | O_NONBLOCK);
    auto to = writer(path());
    close(reader);
    to->put(Piece("nobody reads this\n"));
    await([&] { return to->isOver(); });
    EXPECT_TRUE(to->isOver());
    EXPECT_FALSE(to->ready());
    EXPECT_EQ(to->error(), EPIPE);
    EXPECT_FALSE(to->finish());
}

INSTANTIATE_TEST_SUITE_P(Writer, WriterTest, testing::Bool(),
                         [](const auto& each) { return each.param ? "Thread" : "Direct"; });

TEST(ThreadWriter, IsNotReadyWhileItsReaderSleeps) {
    signal(SIGPIPE, SIG_IGN);
    std::string folder = (std::filesystem::temp_directory_path() / "wyrt-writer.XXXXXX").string();
    ASSERT_TRUE(mkdtemp(folder.data()));
    const auto path = folder + "/pipe";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    auto file = std::make_unique<LogFile>();
    ASSERT_TRUE(file->open(path, OutFile::How::New));
    auto to = threadWriter(std::move(file));
    size_t put = 0;
    while (to->ready() && put < 100) to->put(Piece(std::string(100000, 'x'))), put++; // more than a pipe holds
    EXPECT_FALSE(to->ready());
    EXPECT_LE(put, 10U);
    size_t got = 0;
    std::string buffer(1 << 16, '\0');
    std::thread drain([&] {
        while (got < put * 100000) {
            const auto n = read(reader, buffer.data(), buffer.size());
            if (n > 0) got += static_cast<size_t>(n);
            else std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    EXPECT_TRUE(to->finish());
    drain.join();
    EXPECT_EQ(got, put * 100000);
    close(reader);
    std::filesystem::remove_all(folder);
}

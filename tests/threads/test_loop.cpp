// A whole run of the recorder on this machine: loop, writer, queue and helper together.
#include "record/log.h"
#include "wyrt/loop.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {
class LoopTest : public testing::Test {
protected:
    std::string folder = (std::filesystem::temp_directory_path() / "wyrt-loop.XXXXXX").string();
    Settings settings;
    void SetUp() override {
        ASSERT_TRUE(mkdtemp(folder.data()));
        settings.view.areas = "cpu mem fs net disk"; // fs and net ask the helper
        settings.view.interval_us = 20000;
        settings.output = folder + "/log";
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    // The number of whole intervals, and of rows of filesystems in them.
    struct Holds {
        uint64_t intervals = 0, filesystems = 0;
        LogReader::Found end = LogReader::Found::Torn;
    };
    Holds holds() const { return holds(settings.output); }
    static Holds holds(const std::string& log) {
        std::ifstream file(log, std::ios::binary);
        LogReader reader([&](char* to, size_t size) {
            file.read(to, static_cast<std::streamsize>(size));
            return static_cast<size_t>(file.gcount());
        });
        Holds holds;
        Interval interval;
        while ((holds.end = reader.next(interval)) != LogReader::Found::End && holds.end != LogReader::Found::Torn) {
            if (holds.end != LogReader::Found::Interval) continue;
            holds.intervals++;
            holds.filesystems += interval.filesystems.rows.size();
            EXPECT_FALSE(interval.damaged);
        }
        return holds;
    }
};
} // namespace

TEST_F(LoopTest, EveryIntervalThatWasAskedForIsInTheLog) {
    settings.count = 25;
    EXPECT_EQ(runRecord(settings), 0);
    const auto log = holds();
    EXPECT_EQ(log.intervals, 25U);
    EXPECT_GT(log.filesystems, 0U);
    EXPECT_EQ(log.end, LogReader::Found::End);
}

TEST_F(LoopTest, ASignalEndsItWithAWholeInterval) {
    std::thread other([] {
        sigset_t all; // the signal is for the run
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, nullptr);
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        kill(getpid(), SIGTERM);
    });
    EXPECT_EQ(runRecord(settings), 0);
    other.join();
    const auto log = holds();
    EXPECT_GT(log.intervals, 0U);
    EXPECT_EQ(log.end, LogReader::Found::End);
}

TEST_F(LoopTest, AFolderHasThemToo) {
    settings.output.clear();
    settings.dir = folder + "/logs";
    settings.count = 25;
    settings.keep.max_use = 64 << 20;
    settings.keep.keep_free = 0;
    EXPECT_EQ(runRecord(settings), 0);
    const auto log = holds(settings.dir + "/current.wyrt");
    EXPECT_GT(log.intervals, 0U); // all of them, unless an hour began
    EXPECT_EQ(log.end, LogReader::Found::End);
    EXPECT_EQ(runRecord(settings), 0);
    uint64_t logs = 0, unfinished = 0;
    for (const auto& entry : std::filesystem::directory_iterator(settings.dir)) {
        logs += !entry.is_symlink();
        unfinished += entry.path().string().ends_with("-new");
    }
    EXPECT_GE(logs, 2U);
    EXPECT_EQ(unfinished, 0U);
}

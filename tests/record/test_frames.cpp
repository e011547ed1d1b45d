// Frames, and runs of lines of a kind.
#include "record/frames.h"

#include "tests/record/logparts.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(Frames, TakeALogApart) {
    const auto log = logOf(3);
    LogFrames frames(partsOf(log, 11));
    std::string again;
    Frame frame;
    for (size_t i = 0; frames.next(frame) != LogFrames::Found::End; i++) {
        EXPECT_TRUE(frame.good);
        EXPECT_TRUE(frame.dated);
        EXPECT_EQ(frame.isHead, i == 0);
        EXPECT_EQ(frame.at, again.size());
        EXPECT_EQ(frame.ending.number, i);
        EXPECT_EQ(frame.ending.bytes, frame.text.size());
        again.append(frame.text).append(frame.end);
    }
    EXPECT_EQ(again, log);
    EXPECT_EQ(frames.bytesRead(), log.size());
}

TEST(Frames, GoOnElsewhere) {
    const auto log = logOf(5);
    std::vector<uint64_t> starts;
    Frame frame;
    LogFrames frames(partsOf(log));
    while (frames.next(frame) != LogFrames::Found::End) starts.push_back(frame.at);
    size_t at = 0;
    LogFrames moved([&](char* to, size_t size) {
        const size_t n = std::min(size, log.size() - at);
        memcpy(to, log.data() + at, n);
        return at += n, n;
    });
    for (const size_t i : {size_t{4}, size_t{1}, size_t{5}}) {
        at = starts[i];
        moved.goTo(starts[i]);
        ASSERT_EQ(moved.next(frame), LogFrames::Found::Frame);
        EXPECT_EQ(frame.ending.number, i);
        EXPECT_EQ(frame.at, starts[i]);
        EXPECT_TRUE(frame.good);
    }
}

// Where sums are not asked for, damage that changes a length is still found.
TEST(Frames, LengthsAlone) {
    auto log = logOf(2);
    const auto at = log.find("\nCORE,", log.find("\nEND,") + 1) + 60;
    log[at] ^= 1;
    Frame frame;
    LogFrames lengths(partsOf(log), LogFrames::Check::Lengths), sums(partsOf(log));
    for (auto* frames : {&lengths, &sums}) {
        frames->next(frame);
        EXPECT_TRUE(frame.isHead && frame.good);
        frames->next(frame);
        EXPECT_EQ(frame.good, frames == &lengths);
    }
    log.erase(at, 1);
    LogFrames shorter(partsOf(log), LogFrames::Check::Lengths);
    shorter.next(frame), shorter.next(frame);
    EXPECT_FALSE(frame.good);
    shorter.next(frame);
    EXPECT_TRUE(frame.good);
}

// Neither a gigantic line nor a gigantic interval is held in memory; what follows is whole again.
TEST(Frames, PassOverWhatIsTooLarge) {
    const auto head = headText();
    std::string last;
    LogWriter().interval(cpuInterval(7, 1), last);
    std::string lines = "CORE";
    while (lines.size() < 3 * LogFrames::MostBytes) lines += ",123456789\nCORE";
    for (const std::string& rubbish :
         {std::string(3 * LogFrames::MostBytes, '\0') + "\n", lines + "\n", std::string(1000, '\0') + "\n"}) {
        const std::string end = "END,2026-11-21T14:05:10.000+01:00,2.000137,31,212,48211,9f3a01c4\n";
        const auto log = head + rubbish + end + last;
        LogFrames frames(partsOf(log));
        Frame frame;
        ASSERT_EQ(frames.next(frame), LogFrames::Found::Frame);
        EXPECT_TRUE(frame.isHead && frame.good);
        ASSERT_EQ(frames.next(frame), LogFrames::Found::Frame);
        EXPECT_FALSE(frame.good);
        EXPECT_LE(frame.text.size(), LogFrames::MostBytes + 1);
        ASSERT_EQ(frames.next(frame), LogFrames::Found::Frame);
        EXPECT_TRUE(frame.good);
        EXPECT_EQ(frame.ending.number, 7U);
        EXPECT_EQ(frames.next(frame), LogFrames::Found::End);
    }
    const auto torn = head + std::string(2 * LogFrames::MostBytes, 'x');
    LogFrames frames(partsOf(torn));
    Frame frame;
    frames.next(frame);
    EXPECT_EQ(frames.next(frame), LogFrames::Found::Torn);
    EXPECT_EQ(frames.next(frame), LogFrames::Found::End);
    EXPECT_EQ(frames.bytesRead(), torn.size());
}

// Rows of an interval that would take too much memory are not read.
TEST(Frames, TooManyRows) {
    const auto head = headText();
    std::string lines;
    while (lines.size() < size_t{1} << 20) lines += "PROC\n";
    const auto log = head + lines;
    LogReader reader(partsOf(log));
    Interval found;
    reader.next(found);
    EXPECT_EQ(reader.next(found), LogReader::Found::Torn);
    EXPECT_TRUE(found.damaged);
    EXPECT_TRUE(found.processes.rows.empty());
}

TEST(Runs, LinesOfAKind) {
    std::string_view text = "A,1\nA,2\nAB,1\nA\n\n\nB,x\nB";
    const struct {
        const char *tag, *lines;
        size_t count;
    } Runs[] = {
        {"A", "A,1\nA,2\n", 2}, {"AB", "AB,1\n", 1}, {"A", "A\n", 1}, {"", "\n\n", 2}, {"B", "B,x\n", 1}, {"B", "B", 1},
    };
    for (auto& expected : Runs) {
        ASSERT_FALSE(text.empty());
        const auto run = takeLineRun(text);
        EXPECT_EQ(run.tag, expected.tag);
        EXPECT_EQ(run.lines, expected.lines);
        EXPECT_EQ(run.count, expected.count);
    }
    EXPECT_TRUE(text.empty());
}

// Frames, runs of lines, and rows read by a plan.
#include "record/frames.h"
#include "record/log.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>

static LogFrames::Read partsOf(const std::string& log, size_t most = SIZE_MAX) {
    auto at = std::make_shared<size_t>(0);
    return [&log, at, most](char* to, size_t size) {
        const size_t n = std::min({size, most, log.size() - *at});
        memcpy(to, log.data() + *at, n);
        *at += n;
        return n;
    };
}

static Interval cpuInterval(uint64_t number, size_t cores) {
    Interval interval;
    interval.time = {1795266310000 + static_cast<int64_t>(number) * 1000, 60};
    interval.elapsed_us = 1000000, interval.number = number;
    for (size_t i = 0; i < cores; i++) interval.cores.rows.emplace_back().core = i;
    interval.cores.sampled = true, interval.cores.elapsed_us = 1000000;
    return interval;
}

static std::string headText() {
    std::string log;
    LogWriter().head({"1.2.0", "db7", "boot", "run"}, {}, {1795266310000, 60}, log);
    return log;
}

static std::string logOf(size_t intervals) {
    std::string log = headText();
    for (uint64_t i = 1; i <= intervals; i++) LogWriter().interval(cpuInterval(i, 3), log);
    return log;
}

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

// --- Rows

namespace {
struct MixedRow {
    std::string name;
    char letter = 0;
    bool flag = true;
    uint64_t whole = 7;
    int64_t difference = -7;
    double real = 0.5;
    std::optional<uint64_t> mayWhole;
    std::optional<int64_t> maySigned;
    std::optional<double> mayReal;
};
constexpr auto MixedKind = kind<MixedRow>(
    "MIXED", id("name", &MixedRow::name), label("letter", &MixedRow::letter), level("flag", "", &MixedRow::flag),
    level("whole", "", &MixedRow::whole), level("difference", "", &MixedRow::difference),
    level("real", "", &MixedRow::real), amount("may_whole", "", &MixedRow::mayWhole),
    amount("may_signed", "", &MixedRow::maySigned), amount("may_real", "", &MixedRow::mayReal));
} // namespace

// A plan reads each cell as readCell does, in the log's order of fields, into rows that had other values before.
TEST(RowPlans, ReadWhatCellsRead) {
    const char* const Cells[] = {"",
                                 "0",
                                 "1",
                                 "12",
                                 "18446744073709551615",
                                 "18446744073709551616",
                                 "-1",
                                 "-0",
                                 "-",
                                 "+1",
                                 "1.5",
                                 "0.1",
                                 "123456.789012",
                                 "1e3",
                                 "1e400",
                                 "1.",
                                 ".5",
                                 "nan",
                                 "-9223372036854775808",
                                 "9223372036854775807",
                                 "a",
                                 "\\x2C",
                                 "\\x",
                                 "a\\x00b",
                                 "9223372036854775808",
                                 "-9223372036854775809",
                                 "00012",
                                 "0.30000000000000004",
                                 "1234567890123456789.5",
                                 "0x1",
                                 " 1",
                                 "1 ",
                                 "a text that is longer than fifteen"};
    std::mt19937_64 random(5);
    for (int round = 0; round < 20000; round++) {
        std::vector<std::string_view> header{"MIXED", "time", "secs"};
        for (auto& member : MixedKind.members)
            if (random() % 8) header.push_back(member.name);
        header.push_back("newer");
        std::shuffle(header.begin() + 3, header.end(), random);
        std::string line;
        std::vector<std::string_view> cells{"MIXED", "t", "s"};
        const size_t count = random() % 12;
        for (size_t i = 0; i < count; i++) {
            cells.push_back(Cells[random() % std::size(Cells)]);
            line.append(i ? "," : "").append(cells.back());
        }
        const auto places = placesOf(MixedKind, header);
        MixedRow expected;
        const auto read = readCells(cells, MixedKind, places, expected);
        MixedRow row{"an earlier name that is long", 'x', false, 1, 2, 3, 4, 5, 6};
        const MixedRow none;
        ASSERT_EQ(RowPlan(MixedKind, places).read(line, &row, &none), read) << line;
        if (read == RowRead::Damaged) continue;
        std::string texts[2];
        appendCells(texts[0], MixedKind, expected), appendCells(texts[1], MixedKind, row);
        ASSERT_EQ(texts[1], texts[0]) << line;
    }
}

// The rows of an interval are used again; nothing of the interval before stays in them.
TEST(RowPlans, RowsAreUsedAgain) {
    std::string log = headText();
    for (const size_t cores : std::initializer_list<size_t>{5, 2, 0, 9, 1}) {
        auto interval = cpuInterval(1, cores);
        for (auto& row : interval.cores.rows)
            if (row.core % 2) row.user_us = cores;
        if (cores == 2) interval.cores.rest = CoreRow{}, interval.cores.rest->user_us = 99;
        LogWriter().interval(interval, log);
    }
    LogReader reader(partsOf(log));
    Interval found;
    reader.next(found);
    for (const size_t cores : std::initializer_list<size_t>{5, 2, 0, 9, 1}) {
        ASSERT_EQ(reader.next(found), LogReader::Found::Interval);
        ASSERT_EQ(found.cores.rows.size(), cores);
        EXPECT_EQ(found.cores.sampled, cores > 0);
        EXPECT_EQ(found.cores.rest.has_value(), cores == 2);
        for (auto& row : found.cores.rows) EXPECT_EQ(row.user_us.value_or(0), row.core % 2 ? cores : 0);
    }
}

// Only the intervals of a span are given, and heads.
TEST(RowPlans, OnlyASpan) {
    const auto log = logOf(6);
    LogReader reader(partsOf(log));
    reader.only({1795266310000 + 2000, 1795266310000 + 4000});
    Interval found;
    ASSERT_EQ(reader.next(found), LogReader::Found::Head);
    for (const uint64_t number : std::initializer_list<uint64_t>{3, 4}) {
        ASSERT_EQ(reader.next(found), LogReader::Found::Interval);
        EXPECT_EQ(found.number, number);
        EXPECT_EQ(found.cores.rows.size(), 3U);
    }
    EXPECT_EQ(reader.next(found), LogReader::Found::End);
}

// --- What a log can be like

static std::vector<uint64_t> wholeOf(const std::string& log, size_t* damaged = nullptr) {
    LogReader reader(partsOf(log));
    Interval found;
    std::vector<uint64_t> numbers;
    for (LogReader::Found what{};
         (what = reader.next(found)) != LogReader::Found::End && what != LogReader::Found::Torn;) {
        if (what != LogReader::Found::Interval) continue;
        if (!found.damaged && !reader.headDamaged()) numbers.push_back(found.number);
        else if (damaged) ++*damaged;
    }
    return numbers;
}

// Two recorders that wrote into one file: what is whole is read, what is mixed is in no sum.
TEST(Damage, TwoWritersInterleaved) {
    const auto one = logOf(3);
    std::string two = headText();
    for (uint64_t i = 11; i <= 13; i++) LogWriter().interval(cpuInterval(i, 5), two);
    const std::vector<uint64_t> possible{1, 2, 3, 11, 12, 13};
    std::mt19937 random(4);
    for (int round = 0; round < 100; round++) {
        std::string log;
        for (size_t a = 0, b = 0; a < one.size() || b < two.size();) {
            const size_t piece = 1 + random() % 4000;
            auto& at = random() % 2 ? a : b;
            const auto& from = &at == &a ? one : two;
            log += from.substr(std::min(at, from.size()), piece);
            at += piece;
        }
        for (const uint64_t number : wholeOf(log))
            EXPECT_TRUE(std::find(possible.begin(), possible.end(), number) != possible.end());
    }
    // By whole lines and intervals nothing is lost.
    EXPECT_EQ(wholeOf(one + two), possible);
}

// A run that was cut off, wherever, takes nothing of the next one with it.
TEST(Damage, ARunAfterACut) {
    const auto whole = logOf(2);
    const size_t last = logOf(1).size();
    for (size_t cut = last; cut < whole.size(); cut++) {
        uint64_t damaged = 0;
        EXPECT_EQ(wholeOf(whole.substr(0, cut) + whole, &damaged), (std::vector<uint64_t>{1, 1, 2})) << cut;
        EXPECT_EQ(damaged, cut > last ? 1U : 0U) << cut;
    }
}

TEST(Damage, BlocksOfZeros) {
    const auto good = logOf(6);
    const size_t begin = good.find("\nCORE,", good.find("END,", good.find("END,", good.find("\nEND,") + 5) + 5)) + 20;
    auto log = good;
    log.replace(begin, 200, 200, '\0');
    size_t damaged = 0;
    const auto whole = wholeOf(log, &damaged);
    EXPECT_GE(whole.size(), 4U);
    EXPECT_GE(damaged, 1U);
    // A file system that lost its last blocks.
    log = good.substr(0, good.size() - 300) + std::string(4096, '\0');
    EXPECT_GE(wholeOf(log).size(), 4U);
}

// Without a head nothing is known about the fields; the next head makes what follows readable.
TEST(Damage, MissingHead) {
    const auto good = logOf(2);
    const auto headless = good.substr(headText().size());
    size_t damaged = 0;
    EXPECT_TRUE(wholeOf(headless, &damaged).empty());
    EXPECT_EQ(damaged, 2U);
    EXPECT_EQ(wholeOf(headless + good), (std::vector<uint64_t>{1, 2}));
}

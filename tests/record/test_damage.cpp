// What a log can be like: mixed, cut off, with blocks of zeros, without a head.
#include "tests/record/logparts.h"

#include <gtest/gtest.h>

#include <random>

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

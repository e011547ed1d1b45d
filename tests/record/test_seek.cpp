// Spans that are found in a plain log.
#include "record/seek.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

static constexpr int64_t Start = 1795266310000;

namespace {
struct Piece { // of a log
    uint64_t at = 0;
    int64_t time_ms = 0; // of an interval; 0: a head
};
struct Made {
    std::string log;
    std::vector<Piece> pieces;
    uint64_t number = 0;

    void head() {
        pieces.push_back({log.size(), 0});
        LogWriter().head({"1.2.0", "db7", "boot", "run"}, {}, {Start, 60}, log);
    }
    void interval(int64_t time_ms, size_t rows) {
        Interval interval;
        interval.time = {time_ms, 60}, interval.elapsed_us = 1000000, interval.number = ++number;
        for (size_t i = 0; i < rows; i++) interval.cores.rows.emplace_back().core = i;
        pieces.push_back({log.size(), time_ms});
        LogWriter().interval(interval, log);
    }
};
} // namespace

static ReadAt readerOf(const std::string& log, uint64_t& reads, uint64_t& bytes) {
    return [&](uint64_t at, char* to, size_t size) {
        const size_t n = at < log.size() ? std::min<uint64_t>(size, log.size() - at) : 0;
        memcpy(to, log.data() + at, n);
        reads++, bytes += n;
        return n;
    };
}

TEST(Seek, BisectionFindsTheStartOfASpan) {
    std::mt19937_64 random(7);
    Made made;
    made.head();
    const uint64_t from = made.log.size();
    for (int64_t time = Start; made.log.size() < (3 << 20);)
        made.interval(time += 1 + random() % 5000, random() % 2000);
    for (int round = 0; round < 200; round++) {
        const auto& piece = made.pieces[1 + random() % (made.pieces.size() - 1)];
        const int64_t since = piece.time_ms - static_cast<int64_t>(random() % 3);
        uint64_t reads = 0, bytes = 0;
        const uint64_t found = bisected(readerOf(made.log, reads, bytes), from, made.log.size(), since);
        uint64_t first = made.log.size(); // that is wanted
        bool isStart = found == made.log.size();
        for (auto& one : made.pieces) {
            if (one.time_ms > since) first = std::min(first, one.at);
            isStart |= one.at == found;
        }
        EXPECT_TRUE(isStart);
        EXPECT_LE(found, first);
        EXPECT_LE(first - found, uint64_t{600} << 10);
        EXPECT_LE(bytes, made.log.size());
    }
}

// A line like an END, in a damaged place, does not lead it astray.
TEST(Seek, BisectionBelievesOnlyWhatHasTheRightSum) {
    Made made;
    made.head();
    const uint64_t from = made.log.size();
    for (int i = 0; i < 3000; i++) made.interval(Start + i * 1000, 20);
    const auto good = made.log;
    uint64_t reads = 0, bytes = 0;
    const auto expected = bisected(readerOf(good, reads, bytes), from, good.size(), Start + 1500000);
    // Every line is replaced by an END of the far past or future, as long as the log has room, but for real ENDs.
    for (const char* year : {"1999", "2099"}) {
        made.log = good;
        const std::string forged =
            "\nEND," + std::string(year) + "-11-21T14:05:10.000+01:00,1.000000,1,1,40,00000000\n";
        const auto wanted = made.pieces[1502].at;
        for (size_t i = 1; i + 1 < made.pieces.size(); i += 2)
            if (made.pieces[i].at != wanted) made.log.replace(made.pieces[i].at + 100, forged.size(), forged);
        const auto found = bisected(readerOf(made.log, reads, bytes), from, made.log.size(), Start + 1500000);
        EXPECT_LE(found, wanted);
        EXPECT_LE(wanted - found, uint64_t{600} << 10) << expected;
    }
}

static Part expectedPart(const Made& made, const Bounds& bounds) {
    Part part{0, 0, 0};
    uint64_t head = 0;
    bool found = false;
    for (size_t i = 0; i < made.pieces.size(); i++) {
        const auto& piece = made.pieces[i];
        if (piece.time_ms == 0) head = piece.at;
        else if (bounds.has({piece.time_ms, 0})) {
            if (!found) part.head = head, part.begin = piece.at;
            part.end = i + 1 < made.pieces.size() ? made.pieces[i + 1].at : made.log.size();
            found = true;
        }
    }
    return part;
}

// Heads anywhere, clocks that are set back: exactly the span, without reading what is between the ENDs.
TEST(Seek, FromEndToEnd) {
    std::mt19937_64 random(8);
    for (int round = 0; round < 50; round++) {
        Made made;
        made.head();
        int64_t time = Start;
        for (int i = 0; i < 100; i++) {
            if (random() % 10 == 0) {
                time -= static_cast<int64_t>(random() % 60000);
                if (random() % 2) made.number = 0;
                made.head();
            }
            made.interval(time += 1000, random() % 20);
        }
        for (int i = 0; i < 20; i++) {
            const int64_t since = Start + static_cast<int64_t>(random() % 100000);
            const Bounds bounds{since, i % 3 ? since + static_cast<int64_t>(random() % 20000) : INT64_MAX};
            uint64_t reads = 0, bytes = 0;
            const auto part = walked(readerOf(made.log, reads, bytes), made.log.size(), bounds);
            ASSERT_TRUE(part);
            const auto expected = expectedPart(made, bounds);
            EXPECT_EQ(part->begin, expected.begin);
            EXPECT_EQ(part->end, expected.end);
            EXPECT_EQ(part->head, expected.end > 0 ? expected.head : 0);
            EXPECT_EQ(reads, made.pieces.size());
        }
    }
}

// What is damaged is read as a whole: cut at every byte, or with any byte of an END changed.
TEST(Seek, DamageIsNotWalkedOver) {
    Made made;
    made.head();
    for (int i = 0; i < 5; i++) made.interval(Start + i * 1000, 3); // all of one length
    const Bounds bounds{Start + 500, Start + 3500};
    uint64_t reads = 0, bytes = 0;
    const auto whole = walked(readerOf(made.log, reads, bytes), made.log.size(), bounds);
    ASSERT_TRUE(whole);
    for (size_t at = 0; at < made.log.size(); at++) {
        const auto cut = made.log.substr(0, at);
        const bool isEnd =
            at == 0 || std::any_of(made.pieces.begin(), made.pieces.end(), [&](auto& p) { return p.at == at; });
        EXPECT_EQ(walked(readerOf(cut, reads, bytes), cut.size(), bounds).has_value(), isEnd) << at;
        for (const char change : {'\x01', '\x02', '\x10'}) {
            auto changed = made.log;
            changed[at] = static_cast<char>(changed[at] ^ change);
            const auto part = walked(readerOf(changed, reads, bytes), changed.size(), bounds);
            if (!part) continue;
            // Nothing is lost but what is damaged itself.
            for (size_t i = 1; i < made.pieces.size(); i++) {
                const auto begin = made.pieces[i].at;
                const auto end = i + 1 < made.pieces.size() ? made.pieces[i + 1].at : made.log.size();
                if ((at >= begin && at < end) || !bounds.has({made.pieces[i].time_ms, 0})) continue;
                EXPECT_TRUE(part->begin <= begin && end <= part->end) << at << " " << i;
            }
        }
    }
}

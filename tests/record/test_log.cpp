#include "record/log.h"

#include "record/crc.h"
#include "tests/heap.h"
#include "tests/record/logparts.h"
#include "tests/unit/sanitized.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

static Interval sample(uint64_t seed, int64_t at_ms) {
    std::mt19937_64 random(seed);
    Interval interval;
    interval.time = {at_ms, 60};
    interval.elapsed_us = 2000137;
    interval.number = seed + 1;
    auto& host = interval.host.rows.emplace_back();
    host.name = "a,b\n\xFF" + std::to_string(random() % 10);
    host.kernel = "6.1.0", host.cpus = random() % 100, host.uptime_s = random();
    interval.host.sampled = true, interval.host.elapsed_us = 2000137;
    auto& cpu = interval.cpu.rows.emplace_back();
    interval.cpu.sampled = true, interval.cpu.elapsed_us = 2000001;
    if (random() % 2) cpu.user_us = random();
    cpu.load1 = static_cast<double>(random() % 1000) / 7, cpu.running = random() % 9;
    for (uint64_t i = 0; i < random() % 5; i++) {
        auto& core = interval.cores.rows.emplace_back();
        interval.cores.sampled = true, interval.cores.elapsed_us = 2000001;
        core.core = i, core.user_us = random() % 1000000;
    }
    return interval;
}

template <typename T> static std::string textOf(const T& kind, const typename T::Row& row) {
    std::string text;
    appendCells(text, kind, row);
    return text;
}

static void expectEqual(const Interval& a, const Interval& b) {
    EXPECT_EQ(a.time, b.time);
    EXPECT_EQ(a.elapsed_us, b.elapsed_us);
    std::vector<std::string> texts[2];
    size_t which = 0;
    for (auto* interval : {&a, &b}) {
        eachKind(*interval, [&](const auto& kind, const auto& rows) {
            texts[which].push_back(std::to_string(rows.sampled) + std::to_string(rows.elapsed_us));
            for (auto& row : rows.rows) texts[which].push_back(textOf(kind, row));
            if (rows.rest) texts[which].push_back("rest" + textOf(kind, *rows.rest));
        });
        which++;
    }
    EXPECT_EQ(texts[0], texts[1]);
}

static LogReader readerOf(const std::string& log, size_t most = SIZE_MAX) { return LogReader(partsOf(log, most)); }

static std::string samplesLog(size_t intervals) {
    LogWriter writer;
    std::string log;
    ViewRow view;
    view.areas = "cpu cores", view.rows = 7;
    writer.head({"1.2.0", "db\"7", "boot", "run"}, view, {1000, 60}, log);
    for (size_t i = 0; i < intervals; i++) writer.interval(sample(i, 2000 + static_cast<int64_t>(i) * 2000), log);
    return log;
}

TEST(Log, GivesBackWhatWasWritten) {
    const auto log = samplesLog(50);
    for (const size_t piece : {size_t{1}, size_t{7}, size_t{100000}}) {
        auto reader = readerOf(log, piece);
        Interval found;
        ASSERT_EQ(reader.next(found), LogReader::Found::Head);
        EXPECT_EQ(reader.head().host, "db\"7");
        EXPECT_EQ(reader.view().areas, "cpu cores");
        EXPECT_EQ(reader.view().rows, 7U);
        EXPECT_FALSE(reader.headDamaged());
        for (size_t i = 0; i < 50; i++) {
            ASSERT_EQ(reader.next(found), LogReader::Found::Interval);
            EXPECT_FALSE(found.damaged);
            EXPECT_EQ(found.number, i + 1);
            expectEqual(found, sample(i, 2000 + static_cast<int64_t>(i) * 2000));
        }
        EXPECT_EQ(reader.next(found), LogReader::Found::End);
        EXPECT_EQ(reader.bytesRead(), log.size());
    }
}

// A forged log: rows are not moved for each line.
TEST(Log, KindsThatTakeTurnsLineByLine) {
    constexpr size_t Turns = 20000;
    auto log = samplesLog(0);
    const std::string start = ",1970-01-01T01:00:04.000+01:00,2.000000,";
    for (size_t i = 0; i < Turns; i++) log += "FILES" + start + "1,2\nTHREADS" + start + "3\n";
    Interval interval;
    auto reader = readerOf(log);
    ASSERT_EQ(reader.next(interval), LogReader::Found::Head);
    const size_t before = heap.requests;
    EXPECT_EQ(reader.next(interval), LogReader::Found::Torn);
    EXPECT_LE(heap.requests - before, 1000U);
    ASSERT_EQ(interval.filesTotal.rows.size(), Turns);
    ASSERT_EQ(interval.threadsTotal.rows.size(), Turns);
    EXPECT_EQ(interval.filesTotal.rows.back().descriptors, 2U);
    EXPECT_EQ(interval.threadsTotal.rows.back().threads, 3U);
}

// Who wants lines instead of rows gets those of each interval, and the names of the head to read them with.
TEST(Log, WithoutRows) {
    const auto log = samplesLog(3);
    auto reader = readerOf(log, 1000);
    reader.leaveOutRows();
    Interval found;
    std::string all;
    ASSERT_EQ(reader.next(found), LogReader::Found::Head);
    EXPECT_EQ(reader.view().areas, "cpu cores");
    const auto& names = reader.headLines().find("CORE")->second;
    ASSERT_EQ(names.size(), 3 + CoreKind.members.size());
    EXPECT_EQ(names[0], "#CORE");
    EXPECT_EQ(names[3], "core");
    EXPECT_EQ(reader.headLines().find("CORE:role")->second[4], "amount:us");
    for (uint64_t i = 0; i < 3; i++) {
        ASSERT_EQ(reader.next(found), LogReader::Found::Interval);
        EXPECT_EQ(found.number, i + 1);
        EXPECT_FALSE(found.damaged);
        EXPECT_EQ(found.cpu.one(), nullptr);
        EXPECT_EQ(reader.text().substr(0, 5), "HOST,");
        EXPECT_EQ(reader.text().back(), '\n');
        EXPECT_NE(log.find(std::string(reader.text()) + "END,"), log.npos);
    }
    EXPECT_EQ(reader.next(found), LogReader::Found::End);
    auto changed = log;
    changed[changed.find("\nCPU,1") + 40] ^= 1;
    auto other = readerOf(changed);
    other.leaveOutRows();
    other.next(found), other.next(found);
    EXPECT_TRUE(found.damaged);
}

// Whatever byte changes, its interval or the head fails, and no other does.
TEST(Log, OneChangedByteDamagesOneInterval) {
    const auto good = samplesLog(4);
    std::vector<size_t> ends; // of the head and of each interval
    for (size_t at = 0; (at = good.find("\nEND,", at)) != good.npos;) ends.push_back(at = good.find('\n', at + 1) + 1);
    ASSERT_EQ(ends.size(), 5U);
#ifdef WYRT_SANITIZED
    constexpr size_t Each = 4; // it takes ten times as long
#else
    constexpr size_t Each = 1;
#endif
    for (size_t at = 0; at < good.size(); at += Each) {
        const auto part = static_cast<size_t>(std::upper_bound(ends.begin(), ends.end(), at) - ends.begin());
        const std::string_view changes("\x01\x20\x7F");
        for (const char change : part == 0 ? changes.substr(at % 3, 1) : changes) { // a head takes longer to read
            auto log = good;
            log[at] = static_cast<char>(log[at] ^ change);
            auto reader = readerOf(log);
            Interval found;
            size_t whole = 0;
            std::vector<uint64_t> seen;
            bool badHead = false;
            for (LogReader::Found what{}; (what = reader.next(found)) != LogReader::Found::End;) {
                if (what == LogReader::Found::Torn) break;
                if (what == LogReader::Found::Head) badHead |= reader.headDamaged();
                else if (!found.damaged) whole++, seen.push_back(found.number);
            }
            if (part == 0) {
                EXPECT_TRUE(badHead) << at;
            } else {
                // Of the next one the start can be lost with the newline that ends this one.
                EXPECT_GE(whole, at + 1 == ends[part] ? 2U : 3U) << at;
                EXPECT_EQ(std::count(seen.begin(), seen.end(), part), 0) << at << " " << int(change);
                EXPECT_FALSE(badHead);
            }
        }
    }
}

TEST(Log, CutAtEveryByteIsTornOrEnds) {
    const auto good = samplesLog(2);
    for (size_t length = 0; length <= good.size(); length++) {
        const auto log = good.substr(0, length);
        auto reader = readerOf(log);
        Interval found;
        size_t whole = 0;
        LogReader::Found last{};
        while ((last = reader.next(found)) == LogReader::Found::Head || last == LogReader::Found::Interval)
            if (last == LogReader::Found::Interval) whole += !found.damaged;
        EXPECT_LE(whole, 2U);
        EXPECT_TRUE(last == LogReader::Found::Torn || length == 0 || log.back() == '\n') << length;
    }
}

TEST(Log, RubbishIsNoInterval) {
    for (const std::string& log :
         {std::string("END,\n"), std::string("hello\n"), std::string(100000, '\0'), std::string("#wyrt\nEND,,,,,,\n"),
          std::string("END,2026-11-21T14:05:10.000+01:00,2.000137,31,212,48211,9f3a01c4\n"),
          std::string("CPU,x,y\nEND,2026-11-21T14:05:10.000+01:00,2.000137,1,1,8,00000000\n")}) {
        auto reader = readerOf(log);
        Interval found;
        for (LogReader::Found what{};
             (what = reader.next(found)) != LogReader::Found::End && what != LogReader::Found::Torn;)
            EXPECT_TRUE(what == LogReader::Found::Head ? reader.headDamaged() : found.damaged) << log.substr(0, 60);
    }
}

// Ends the lines that the log has from there on, with the right sum: whoever forges a log can do this, too.
static void endWith(std::string& log, size_t from, const char* number) {
    std::string line = "END,1970-01-01T00:00:00.000+00:00,1.000000," + std::string(number) + ",1," +
                       std::to_string(log.size() - from) + ",";
    char sum[9];
    snprintf(sum, sizeof sum, "%08x", crc32c(log.substr(from) + line));
    log += line + sum + "\n";
}

TEST(Log, ReadsWhatALaterProgramWrites) {
    // More kinds, more fields, in another order.
    std::string log =
        "#wyrt,2,9.0,h,b,r,new\n#CPU,time,secs,newer,user,nice\n#NEW,time,secs,a\n#VIEW,time,secs,areas,x\n"
        "VIEW,1970-01-01T00:00:00.000+00:00,0.000000,cpu,5\n";
    endWith(log, 0, "0");
    const size_t from = log.size();
    log += "NEW,1970-01-01T00:00:00.000+00:00,1.000000,5\nCPU,1970-01-01T00:00:00.000+00:00,1.000000,9,7,,more\n";
    endWith(log, from, "1");
    auto reader = readerOf(log);
    Interval found;
    ASSERT_EQ(reader.next(found), LogReader::Found::Head);
    EXPECT_FALSE(reader.headDamaged());
    EXPECT_EQ(reader.view().areas, "cpu");
    ASSERT_EQ(reader.next(found), LogReader::Found::Interval);
    EXPECT_FALSE(found.damaged);
    ASSERT_TRUE(found.cpu.one());
    EXPECT_EQ(found.cpu.one()->user_us, 7U);
    EXPECT_FALSE(found.cpu.one()->nice_us);
    EXPECT_TRUE(reader.text().starts_with("NEW,"));
}

// A forged log: what is no number of the kernel must not reach those that compare, sort and convert.
TEST(Log, InfinitiesAreDamage) {
    for (const char* cell : {"inf", "-inf", "nan", "-nan", "infinity", "nan(1)", "1e999"}) {
        std::string log = "#wyrt,2,9.0,h,b,r\n#CPU,time,secs,load1,load5\n";
        endWith(log, 0, "0");
        const size_t from = log.size();
        log += "CPU,1970-01-01T00:00:00.000+00:00,1.000000," + std::string(cell) + ",2e-1\n";
        endWith(log, from, "1");
        auto reader = readerOf(log);
        Interval found;
        ASSERT_EQ(reader.next(found), LogReader::Found::Head);
        ASSERT_EQ(reader.next(found), LogReader::Found::Interval);
        EXPECT_TRUE(found.damaged) << cell;
        ASSERT_TRUE(found.cpu.one());
        EXPECT_FALSE(found.cpu.one()->load1) << cell;
        EXPECT_EQ(found.cpu.one()->load5, 0.2);
    }
}

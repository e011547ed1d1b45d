// Whole recordings in a folder, read back: a month of minutes, and an hour of forks in its bounds.
#include "wyrt/folder.h"

#include "record/budget.h"
#include "record/log.h"
#include "record/lognames.h"
#include "tests/madelog.h"
#include "tests/unit/recorder.h"
#include "tests/unit/sanitized.h"
#include "wyrt/dispatch.h"
#include "wyrt/heads.h"
#include "wyrtlog/unpack.h"

#include <algorithm>
#include <map>
#include <set>

// --- Reading it back

// `wanted` is asked for each whole interval.
static void readLog(const std::string& path, const std::function<void(const Interval&)>& wanted) {
    std::string_view left = textOf(path);
    Unpacker unpacker([&](char* to, size_t size) {
        const size_t n = left.copy(to, size);
        left.remove_prefix(n);
        return n;
    });
    LogReader reader([&](char* to, size_t size) { return unpacker.read(to, size); });
    Interval interval;
    for (auto found = reader.next(interval); found != LogReader::Found::End; found = reader.next(interval)) {
        ASSERT_NE(found, LogReader::Found::Torn) << path;
        if (found != LogReader::Found::Interval) continue;
        ASSERT_FALSE(interval.damaged || reader.headDamaged()) << path;
        wanted(interval);
    }
    EXPECT_EQ(unpacker.failure(), "");
}

static std::vector<std::string> logsIn(const std::string& folder) {
    std::vector<std::string> logs;
    for (const auto& name : World::current->find(folder)->entries)
        if (logNameTime(name)) logs.push_back(name);
    std::sort(logs.begin(), logs.end());
    return logs;
}

// --- A month

namespace {
// How the clock is set in a minute.
struct ClockStep {
    int minute;
    int64_t ms;
};
} // namespace

// 30 days of minutes, with both changes of summer time, and a clock that is set back and forth. With the sanitizer,
// which takes twenty times as long, a sample every four minutes will do.
static constexpr int PerDay = 24 * 60; // minutes
#ifdef WYRT_SANITIZED
static constexpr int Each = 4;
#else
static constexpr int Each = 1;
#endif
static constexpr int Samples = 30 * PerDay / Each;
static constexpr ClockStep ClockSteps[] = {
    {17 * PerDay + 7, 2 * Hour},                                     // and back later
    {18 * PerDay + 500, -2 * Hour},  {20 * PerDay + 100, 365 * Day}, // for half an hour
    {20 * PerDay + 130, -365 * Day}, {22 * PerDay + 30, -240000},    {25 * PerDay + 333, -3 * Hour},
};

static std::string monthOfSteps() {
    std::string text = "tz CET-1CEST,M3.2.0,M3.4.0\nhost db7\nclock 1772323200.000\ndisk /logs 1000000000\n" + Tools +
                       "text /proc/stat \"cpu  0 0 0 0\\ncpu0 0 0 0 0\\n\"\n"; // 2026-03-01 00:00:00 UTC
    for (int i = 1; i <= Samples; i++) {
        const auto user = std::to_string(i * 6);
        text += "step " + std::to_string(i) + "\ntext /proc/stat \"cpu  " + user + " 0 0 9\\ncpu0 " + user +
                " 0 0 9\\n\"\n";
        for (const auto& set : ClockSteps)
            if (set.minute / Each == i) text += "clockstep " + std::to_string(set.ms) + "\n";
    }
    return text;
}

TEST(Folder, AMonthOfMinutes) {
    Made machine(monthOfSteps());
    machine.world.child = runWyrtlog;
    std::string words[] = {
        "wyrt",      "record", "cpu", "--dir", "/logs", "-i", std::to_string(Each) + "m", "-c", std::to_string(Samples),
        "--max-age", "14d"};
    std::vector<char*> argv;
    for (auto& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    EXPECT_EQ(printed([&] { EXPECT_EQ(wyrtMain(static_cast<int>(argv.size()) - 1, argv.data(), nullptr), 0); },
                      STDERR_FILENO),
              "");
    const auto logs = logsIn("/logs");
    std::set<uint64_t> numbers;
    std::set<int16_t> offsets;
    uint64_t user_us = 0;
    int64_t elapsed_us = 0;
    for (const auto& name : logs) {
        std::optional<int64_t> last_ms;
        readLog("/logs/" + name, [&](const Interval& interval) {
            const int64_t time_ms = interval.time.epoch_ms;
            if (!last_ms) {
                EXPECT_EQ(logNameTime(name), time_ms / 1000 * 1000) << name;
            } else {
                EXPECT_GE(time_ms, *last_ms) << name;
                EXPECT_EQ(time_ms / Hour, *last_ms / Hour) << name;
            }
            last_ms = time_ms;
            EXPECT_TRUE(numbers.insert(interval.number).second) << interval.number;
            offsets.insert(interval.time.offset_min);
            elapsed_us += interval.elapsed_us;
            ASSERT_EQ(interval.cpu.rows.size(), 1U);
            user_us += interval.cpu.rows[0].user_us.value_or(0);
        });
        EXPECT_TRUE(last_ms) << name;
    }
    // What is left are the last 14 days, whole: nothing was lost, and nothing went because of a wrong clock.
    ASSERT_FALSE(numbers.empty());
    EXPECT_EQ(*numbers.rbegin(), static_cast<uint64_t>(Samples));
    EXPECT_EQ(numbers.size(), *numbers.rbegin() - *numbers.begin() + 1);
    EXPECT_GE(numbers.size(), 14U * PerDay / Each);
    EXPECT_LE(numbers.size(), (14U * PerDay + 6 * 60) / Each);
    EXPECT_EQ(elapsed_us, static_cast<int64_t>(numbers.size()) * Each * 60000000);
    EXPECT_EQ(user_us, numbers.size() * 60000); // 6 ticks each
    EXPECT_EQ(offsets, (std::set<int16_t>{60, 120}));
    // All but the open one, and the one that was closed last, are compressed.
    EXPECT_LE(std::count_if(logs.begin(), logs.end(), isPlainLog), 2);
    EXPECT_EQ(textOf("/logs/current.wyrt"), "db7-20260330T200000Z.wyrt");
}

// --- The bound

namespace {
// 10,000 processes that all run, and 3,000 forks a second, at one sample a minute.
class BusyMachine {
    static constexpr uint64_t Processes = 10000, Parents = 3000, PerSecond = 3000, Seconds = 60;

public:
    static void fill(Interval& interval, uint64_t number) {
        clearRows(interval);
        interval.number = number;
        interval.elapsed_us = Seconds * 1000000;
        for (uint64_t i = 0; i < Processes; i++) {
            auto& row = interval.processes.rows.emplace_back();
            row.pid = 1000 + i, row.start = 5, row.name = "worker", row.state = 'S';
            row.command = "/usr/bin/worker --number " + std::to_string(i);
            row.unit = "worker.service";
            row.cpu_us = (i * 7919 + number) % 12000, row.write_bytes = (i * 104729 + number) % 100000;
        }
        for (uint64_t i = 0; i < Parents; i++) {
            auto& row = interval.churn.rows.emplace_back();
            row.parent = 1000 + i, row.parent_start = 5, row.command = "child",
            row.ended = PerSecond * Seconds / Parents;
            row.cpu_us = (i * 31 + number) % 5000;
        }
        interval.processes.sampled = interval.churn.sampled = true;
    }
    static uint64_t forks() { return PerSecond * Seconds; }
};

// With the rest of the rows.
struct Sums {
    uint64_t cpu_us = 0, write_bytes = 0, ended = 0, children_us = 0;
    void add(const ProcRow& row) { cpu_us += row.cpu_us.value_or(0), write_bytes += row.write_bytes.value_or(0); }
    void add(const ChurnRow& row) { ended += row.ended.value_or(0), children_us += row.cpu_us.value_or(0); }
    explicit Sums(const Interval& interval) {
        for (const auto& row : interval.processes.rows) add(row);
        for (const auto& row : interval.churn.rows) add(row);
        if (interval.processes.rest) add(*interval.processes.rest);
        if (interval.churn.rest) add(*interval.churn.rest);
    }
    bool operator==(const Sums&) const = default;
};
} // namespace

namespace {
struct HourBounds {
    uint64_t max_use, keep_free, disk;
    bool packed;
};
} // namespace

// Writes an hour as a recorder does, and calls `check` after each interval.
static void recordAnHour(const HourBounds& bounds, std::map<uint64_t, Sums>& sums, const std::function<void()>& check) {
    constexpr uint64_t Pieces = 60;
    LogFolder folder("/logs", "db7", {bounds.max_use, bounds.keep_free, {}});
    ASSERT_TRUE(folder.open());
    Heads heads(true, bounds.max_use);
    LogWriter log;
    Interval interval;
    BudgetSpace space;
    for (uint64_t i = 1; i <= Pieces; i++) {
        World::current->advance(60000000);
        BusyMachine::fill(interval, i);
        sums.emplace(i, Sums(interval));
        const int64_t time_ms = Noon + static_cast<int64_t>(i) * 60000;
        interval.time = {time_ms, 60};
        const bool begins = heads.isDue(time_ms);
        std::string text;
        if (begins) log.head(Head, {}, interval.time, text);
        else
            eachKind(interval, [&](const auto& kind, auto& rows) {
                applyBudget(kind, rows, RowBudget, space, [](const auto&) { return false; });
            });
        log.interval(interval, text);
        heads.put(time_ms, text.size(), begins);
        EXPECT_EQ(folder.write(Piece(std::move(text), time_ms, begins)), Wrote::All) << i;
        check();
    }
    folder.end();
}

TEST(Folder, AnHourOfForksStaysInItsBounds) {
    constexpr uint64_t MiB = 1 << 20;
    for (const HourBounds& bounds :
         {HourBounds{12 * MiB, 0, 99 * MiB, true}, HourBounds{14 * MiB, 4 * MiB, 16 * MiB, false}}) {
        Made machine("disk /logs " + std::to_string(bounds.disk) + "\nclock 1795262400.000\n" +
                     (bounds.packed ? Tools : ""));
        uint64_t most = 0;
        const auto check = [&] {
            uint64_t used = 0;
            for (const auto& name : World::current->find("/logs")->entries) {
                const auto* node = World::current->find("/logs/" + name);
                if (node->kind == TNode::File) used += roomOf(node->text.size());
            }
            EXPECT_LE(used, bounds.max_use);
            EXPECT_GE(bounds.disk - used, bounds.keep_free);
            most = std::max(most, used);
        };
        machine.world.child = [&](const std::vector<std::string>& command) {
            machine.world.watch = [&](const std::string&) { check(); }; // before it opens what it has written
            const int status = runWyrtlog(command);
            machine.world.watch = nullptr;
            return status;
        };
        std::map<uint64_t, Sums> sums;
        recordAnHour(bounds, sums, check);
        EXPECT_GT(most, std::min(bounds.max_use, bounds.disk - bounds.keep_free) / 2); // the bound was near
        uint64_t read = 0;
        for (const auto& name : logsIn("/logs"))
            readLog("/logs/" + name, [&](const Interval& one) {
                read++;
                const Sums got(one);
                EXPECT_TRUE(got == sums.at(one.number)) << name << " " << one.number;
                EXPECT_EQ(got.ended, BusyMachine::forks());
            });
        EXPECT_GT(read, 20U);
    }
}

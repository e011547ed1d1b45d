// wyrt push from a log to a receiver, and the cursor that says where it was.
#include "wyrtlog/push/pusher.h"

#include "base/refusal.h"
#include "record/lognames.h"
#include "tests/madelog.h"
#include "tests/unit/logcommand.h"
#include "tests/unit/receiver.h"
#include "wyrtlog/statefile.h"

#include <set>

// `later`: by so many intervals, as after the clock was set.
static std::string logOf(uint64_t first, uint64_t last, int64_t later = 0, const LogHead& head = Head) {
    std::string log;
    LogWriter writer;
    writer.head(head, ViewRow(), {Start, 60}, log);
    for (uint64_t n = first; n <= last; n++) {
        Interval interval;
        interval.number = n;
        interval.time = {Start + (static_cast<int64_t>(n) + later) * 10000, 60};
        interval.elapsed_us = 10000000;
        auto& cpu = interval.cpu.rows.emplace_back();
        cpu.user_us = 1000000 + n, cpu.idle_us = 3000000, cpu.load1 = 0.25;
        interval.cpu.sampled = true, interval.cpu.elapsed_us = 10000000;
        auto& disk = interval.disks.rows.emplace_back();
        disk.name = "sda", disk.device = "8:0", disk.reads = n;
        interval.disks.sampled = true, interval.disks.elapsed_us = 10000000;
        writer.interval(interval, log);
    }
    return log;
}

static Asked askedOnce() {
    Asked asked;
    asked.task = LogTask::Push;
    asked.logs = {"/logs"};
    asked.cursor = "/state/cursor";
    asked.once = true;
    return asked;
}

static const char* const Name = "/logs/db7-20261121T130510Z.wyrt";

// Its exit status.
static int pushed(MadeReceiver& receiver, const Asked& asked = askedOnce()) {
    Signals signals;
    SeriesChoice choice;
    choice.endless = true;
    return Pusher(asked, choice, receiver, signals).run({});
}

static std::set<std::string> setOf(const std::string& text) {
    std::set<std::string> set;
    std::istringstream all(text);
    for (std::string line; std::getline(all, line);) EXPECT_TRUE(set.insert(line).second) << line;
    return set;
}

TEST(Push, GoesOnWhereItWas) {
    Made machine("dir /state\n");
    MadeReceiver whole;
    save(Name, logOf(1, 20));
    EXPECT_EQ(pushed(whole), Done);
    EXPECT_NE(whole.taken.find(",reads_total=210i,"), std::string::npos) << whole.taken;

    Made again("dir /state\n");
    MadeReceiver receiver;
    for (const uint64_t last : {5U, 5U, 6U, 20U}) {
        save(Name, logOf(1, last));
        EXPECT_EQ(pushed(receiver), Done);
    }
    EXPECT_EQ(setOf(receiver.taken), setOf(whole.taken)) << "the same points, each once";
}

static std::string counted(const char* metric) {
    const auto cursor = readState("/state/cursor", 100000).value_or("");
    const auto at = cursor.find(metric);
    return at == cursor.npos ? "" : cursor.substr(at, cursor.find_first_of(",\n", at) - at);
}

// The recorder writes 1 to 20, its clock is set back, and it goes on to 70, as one run or as another one. Whenever push
// ended, and in whichever order it reads, each interval is counted once. What has no new point comes with later ones.
TEST(Push, AClockThatWasSetBack) {
    const LogHead restarted{"1.2.0", "db7", "boot", "run2"};
    for (auto* head : {&Head, &restarted})
        for (const int64_t back : {-1, -7, -25, -40}) {
            const int64_t before = head == &Head ? 0 : 20; // numbers of the other run
            const auto name = "/logs/" + logName("db7", Start + (21 + back) * 10000, 1);
            const auto saveUpTo = [&](uint64_t last) {
                const auto skipped = static_cast<uint64_t>(before);
                save(name, logOf(21 - skipped, last - skipped, back + before, *head));
            };
            const std::string all = before ? "reads=1485" : "reads=2485";
            for (const uint64_t last : {21U, 30U, 45U}) {
                Made machine("dir /state\n");
                MadeReceiver receiver;
                save(Name, logOf(1, 20));
                EXPECT_EQ(pushed(receiver), Done);
                for (const uint64_t upTo : {last, last, uint64_t{70}, uint64_t{70}}) {
                    saveUpTo(upTo);
                    EXPECT_EQ(pushed(receiver), Done);
                }
                EXPECT_EQ(counted("reads="), all) << back << ", " << last;
                setOf(receiver.taken);
            }
            Made whole("dir /state\n"); // both at once, in order of time
            MadeReceiver receiver;
            save(Name, logOf(1, 20));
            saveUpTo(70);
            EXPECT_EQ(pushed(receiver), Done);
            EXPECT_EQ(pushed(receiver), Done);
            EXPECT_EQ(counted("reads="), all) << back;
        }
}

// What --since left out of the first start is not sent by a later one without it.
TEST(Push, WhatWasNotWantedIsOver) {
    Made machine("dir /state\n");
    MadeReceiver receiver;
    save(Name, logOf(1, 20));
    auto asked = askedOnce();
    Signals signals;
    EXPECT_EQ(Pusher(asked, {}, receiver, signals).run({Start + 155000, INT64_MAX}), Done);
    save("/logs/db7-20261121T130000Z.wyrt", logOf(1, 10, 0, {"1.2.0", "db7", "boot", "before"}));
    EXPECT_EQ(pushed(receiver), Done);
    EXPECT_EQ(counted("reads="), "reads=" + std::to_string(16 + 17 + 18 + 19 + 20));
}

// A batch that was taken, but whose answer was lost, comes again with the same times and values.
TEST(Push, RepeatsABatchExactly) {
    Made machine("dir /state\n");
    MadeReceiver receiver;
    save(Name, logOf(1, 5));
    EXPECT_EQ(pushed(receiver), Done);
    const auto cursor = readState("/state/cursor", 100000).value_or("");
    save(Name, logOf(1, 9));
    receiver.taken.clear();
    EXPECT_EQ(pushed(receiver), Done);
    const auto first = receiver.taken;
    ASSERT_TRUE(replaceState("/state/cursor", cursor)); // as if it had been killed before it was saved
    receiver.taken.clear();
    EXPECT_EQ(pushed(receiver), Done);
    EXPECT_EQ(receiver.taken, first);
}

TEST(Push, KeepsItsPlaceWhenItFails) {
    Made machine("dir /state\n");
    MadeReceiver receiver;
    save(Name, logOf(1, 5));
    receiver.answer = [](auto&) { return Reply{401, "", {}}; };
    EXPECT_EQ(pushed(receiver), Failed);
    receiver.answer = [](auto&) { return Reply{204, "", {}}; };
    EXPECT_EQ(pushed(receiver), Done);
    EXPECT_NE(receiver.taken.find(",reads_total=15i,"), std::string::npos) << receiver.taken;
}

// A damaged cursor is put aside, and all is sent again.
TEST(Push, DamagedCursors) {
    Made machine("dir /state\n");
    MadeReceiver receiver;
    save(Name, logOf(1, 5));
    EXPECT_EQ(pushed(receiver), Done);
    const auto all = receiver.taken, cursor = readState("/state/cursor", 100000).value_or("");
    ASSERT_GT(cursor.size(), 100U);
    for (size_t cut = 0; cut < cursor.size(); cut += 7) {
        receiver.taken.clear();
        auto damaged = cursor.substr(0, cut);
        if (cut % 2) damaged = cursor, damaged[cut] = static_cast<char>(damaged[cut] ^ 1);
        ASSERT_TRUE(replaceState("/state/cursor", damaged));
        EXPECT_EQ(pushed(receiver), Done);
        EXPECT_EQ(receiver.taken, all) << cut;
        EXPECT_EQ(readState("/state/cursor.damaged", 100000), damaged);
        EXPECT_EQ(readState("/state/cursor", 100000), cursor);
    }
}

// Each cursor is one pusher's.
TEST(Push, CursorsThatCannotBeUsed) {
    Made machine("dir /state\nfail lock /state EWOULDBLOCK\n");
    MadeReceiver receiver;
    save(Name, logOf(1, 2));
    EXPECT_EQ(pushed(receiver), Failed);
    EXPECT_EQ(receiver.requests, 0U);
}

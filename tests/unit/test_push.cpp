// wyrt push: what answers mean, waiting, the way of a batch, the cursor. Receivers are made up here.
#include "base/refusal.h"
#include "record/lognames.h"
#include "tests/unit/logcommand.h"
#include "wyrtlog/push/backoff.h"
#include "wyrtlog/push/delivery.h"
#include "wyrtlog/push/http.h"
#include "wyrtlog/push/pusher.h"
#include "wyrtlog/statefile.h"

#include <map>
#include <set>

#include <zlib.h>

// --- Answers

TEST(Push, WhatAnswersMean) {
    const std::map<Verdict, std::vector<int>> expected = {{Verdict::Taken, {200, 204}},
                                                          {Verdict::Later, {0, 408, 425, 429, 500, 503, 599}},
                                                          {Verdict::Refused, {400, 422}},
                                                          {Verdict::TooLarge, {413}},
                                                          {Verdict::Setup, {100, 301, 307, 401, 403, 404, 415}}};
    for (auto& [verdict, statuses] : expected)
        for (const int status : statuses) EXPECT_EQ(verdictOf(status), verdict) << status;
}

TEST(Push, AnswersInOneLine) {
    EXPECT_EQ(describe({0, "Connection refused", {}}), "no answer from the receiver: Connection refused");
    EXPECT_EQ(describe({503, "", {}}), "the receiver answers 503 (unavailable)");
    EXPECT_EQ(describe({400, "bad\x1b[31m\nline\n\n", {}}), "the receiver answers 400 (bad request): bad?[31m?line");
    EXPECT_EQ(describe({301, "", {}}), "the receiver answers 301 (it is elsewhere, and --url has to say where)");
    EXPECT_EQ(describe({418, std::string(5000, 'x'), {}}), "the receiver answers 418: " + std::string(300, 'x'));
    for (const int status : {401, 403, 404, 413, 429, 500}) EXPECT_NE(describe({status, "", {}}).find(" ("), 0U);
}

TEST(Push, WaitsLongerEachTime) {
    Backoff longest, shortest;
    std::vector<int64_t> most, least;
    for (int i = 0; i < 8; i++) {
        most.push_back(longest.next({}, 1000));
        least.push_back(shortest.next({}, 0));
    }
    EXPECT_EQ(most, (std::vector<int64_t>{1000000, 2000000, 4000000, 8000000, 16000000, 32000000, 60000000, 60000000}));
    EXPECT_EQ(least, (std::vector<int64_t>{800000, 1600000, 3200000, 6400000, 12800000, 25600000, 48000000, 48000000}));
    EXPECT_EQ(longest.failed(), 8U);
    longest.succeed();
    EXPECT_EQ(longest.next({}, 1000), 1000000);
}

TEST(Push, WaitsAsLongAsItIsAskedWithinBounds) {
    for (const auto& [asked, expected] : std::map<int64_t, int64_t>{
             {-5, 1000000}, {0, 1000000}, {7, 7000000}, {600, 600000000}, {601, 600000000}, {INT64_MAX, 600000000}})
        EXPECT_EQ(Backoff().next(asked, 1000), expected) << asked;
}

// --- Settings

TEST(Push, SettingsThatCannotBe) {
    const auto why = [](const char* url, void (*change)(HttpSettings&)) {
        HttpSettings settings{url, "", "", "", "", "", ""};
        change(settings);
        return whyNotSettings(settings);
    };
    const auto as = [](HttpSettings&) {};
    for (const char* url : {"http://h/write", "https://h:8428/api/v2/write?bucket=a@b", "http://[::1]:8086/x#@"})
        EXPECT_EQ(why(url, as), "") << url;
    for (const char* url : {"", "h/write", "ftp://h/", "file:///etc/passwd", "http://a b/", "http://h/\x7f",
                            "https://user:secret@h/", "http://user@h"}) {
        EXPECT_NE(why(url, as), "") << url;
        EXPECT_EQ(why(url, as).find("secret"), std::string::npos);
    }
    EXPECT_NE(why("https://h/", [](auto& s) { s.cert = "a"; }), "");
    EXPECT_NE(why("https://h/", [](auto& s) { s.user = "a"; }), "");
    EXPECT_NE(why("https://h/", [](auto& s) { s.user = "a:b", s.passwordFile = "f"; }), "");
    EXPECT_NE(why("https://h/", [](auto& s) { s.user = "a", s.passwordFile = "f", s.tokenFile = "t"; }), "");
    EXPECT_NE(why("http://h/", [](auto& s) { s.ca = "a"; }), "");
    EXPECT_EQ(why("https://h/", [](auto& s) { s.ca = s.cert = s.key = "a", s.tokenFile = "t"; }), "");
}

TEST(Push, Tokens) {
    EXPECT_EQ(authorizationOf("abc\n"), "Bearer abc");
    EXPECT_EQ(authorizationOf("Token abc== \r\n"), "Token abc==");
    for (const char* bad : {"", "\n", "a\nb", "a\r\nX-Header: b", "\x01"}) EXPECT_FALSE(authorizationOf(bad)) << bad;
}

// --- The way of a batch

static std::string unpacked(std::string_view packed) {
    std::string text(size_t{1} << 23, '\0');
    z_stream stream{};
    inflateInit2(&stream, 15 + 16);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
    stream.avail_in = static_cast<uInt>(packed.size());
    stream.next_out = reinterpret_cast<Bytef*>(text.data());
    stream.avail_out = static_cast<uInt>(text.size());
    EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
    text.resize(stream.total_out);
    inflateEnd(&stream);
    return text;
}

namespace {
// Answers as it is told, and keeps what it has taken.
struct MadeReceiver : Receiver {
    std::function<Reply(const std::string& text)> answer = [](auto&) { return Reply{204, "", {}}; };
    std::string taken;
    size_t requests = 0;

    Reply send(std::string_view body) override {
        requests++;
        const auto text = unpacked(body);
        auto reply = answer(text);
        if (reply.status == 204) taken += text;
        return reply;
    }
};

struct MadeWorld {
    std::string said;
    std::vector<int64_t> pauses;
    size_t most = 100; // pauses

    Delivery::World hooks() {
        return {[this](int64_t microseconds) { return pauses.push_back(microseconds), pauses.size() < most; },
                [this](const std::string& line) { said += line + "\n"; }, [] { return 1000U; }};
    }
};
} // namespace

static std::string lines(size_t count) {
    std::string text;
    for (size_t i = 0; i < count; i++) text += "line " + std::to_string(i) + "\n";
    return text;
}

TEST(Push, ABatchIsSentOnce) {
    MadeReceiver receiver;
    MadeWorld world;
    Delivery delivery(receiver, world.hooks());
    EXPECT_EQ(delivery.deliver(lines(100)), Delivery::Result::Complete);
    EXPECT_EQ(receiver.taken, lines(100));
    EXPECT_EQ(receiver.requests, 1U);
    EXPECT_EQ(world.said, "");
}

TEST(Push, ABatchIsSentUntilItIsTaken) {
    MadeReceiver receiver;
    MadeWorld world;
    Delivery delivery(receiver, world.hooks());
    std::vector<Reply> replies{{401, "no", {}}, {500, "", {}}, {500, "", {}}, {429, "", 30}, {0, "cut", {}}};
    std::reverse(replies.begin(), replies.end());
    receiver.answer = [&](auto&) {
        if (replies.empty()) return Reply{204, "", {}};
        const auto reply = replies.back();
        replies.pop_back();
        return reply;
    };
    EXPECT_EQ(delivery.deliver(lines(3)), Delivery::Result::Complete);
    EXPECT_EQ(receiver.taken, lines(3));
    EXPECT_EQ(world.pauses, (std::vector<int64_t>{1000000, 2000000, 4000000, 30000000, 16000000}));
    EXPECT_EQ(world.said,
              "the receiver answers 401 (unauthorized): no; nothing is lost while the logs are there, and it "
              "is tried again\nthe receiver answers 500 (internal error)\nthe receiver answers 429 (too many "
              "requests)\nno answer from the receiver: cut\nthe receiver takes points again\n");
    EXPECT_EQ(delivery.deliver(lines(3)), Delivery::Result::Complete);
    EXPECT_EQ(world.pauses.size(), 5U);
}

TEST(Push, ABatchThatIsTooLargeIsSentInParts) {
    MadeReceiver receiver;
    MadeWorld world;
    Delivery delivery(receiver, world.hooks());
    receiver.answer = [](auto& text) { return Reply{text.size() > 10000 ? 413 : 204, "", {}}; };
    const auto batch = lines(10000);
    EXPECT_EQ(delivery.deliver(batch), Delivery::Result::Complete);
    EXPECT_EQ(receiver.taken, batch);
    const auto first = receiver.requests;
    EXPECT_EQ(delivery.deliver(batch), Delivery::Result::Complete); // it has learnt how much is too much
    EXPECT_LT(receiver.requests - first, first);
    EXPECT_EQ(receiver.taken, batch + batch);
    EXPECT_EQ(world.said, "");
}

// What is refused takes nothing else with it, is said, and ends the batch.
TEST(Push, BadPointsAreLeftOut) {
    MadeReceiver receiver;
    MadeWorld world;
    Delivery delivery(receiver, world.hooks());
    receiver.answer = [](auto& text) {
        return Reply{text.find("line 700\n") != text.npos ? 400 : 204, "cannot parse", {}};
    };
    const auto batch = lines(1000);
    EXPECT_EQ(delivery.deliver(batch), Delivery::Result::Complete);
    EXPECT_EQ(receiver.taken.size(), batch.size() - std::string("line 700\n").size());
    EXPECT_EQ(world.said, "1 point is left out, because the receiver does not take them: the receiver answers 400 (bad "
                          "request): cannot parse\n");
    EXPECT_TRUE(world.pauses.empty());
    receiver.answer = [](auto& text) { return Reply{text.find('7') != text.npos ? 422 : 204, "", {}}; };
    const auto before = receiver.requests;
    EXPECT_EQ(delivery.deliver(batch), Delivery::Result::Complete);
    EXPECT_LT(receiver.requests - before, 140U) << "the number of attempts has a bound";
    EXPECT_NE(world.said.find(" points are left out"), std::string::npos) << world.said;
}

// A receiver that takes nothing has another trouble than a bad point: nothing is left out.
TEST(Push, NothingIsLeftOutWhereNothingIsTaken) {
    for (const int status : {400, 413, 422}) {
        MadeReceiver receiver;
        MadeWorld world;
        world.most = 5;
        Delivery delivery(receiver, world.hooks());
        receiver.answer = [&](auto&) { return Reply{status, "no such bucket", {}}; };
        EXPECT_EQ(delivery.deliver(lines(1000)), Delivery::Result::Ended);
        EXPECT_EQ(world.said.find("left out"), std::string::npos) << world.said;
        EXPECT_EQ(std::count(world.said.begin(), world.said.end(), '\n'), 1) << world.said;
        EXPECT_EQ(world.pauses.back(), 16000000) << "it waits longer each time";
        receiver.answer = [](auto&) { return Reply{204, "", {}}; };
        EXPECT_EQ(delivery.deliver(lines(1000)), Delivery::Result::Complete);
        EXPECT_EQ(receiver.taken, lines(1000));
    }
}

TEST(Push, OnceGivesUp) {
    for (const auto& [status, requests] : std::map<int, size_t>{{503, 5}, {0, 5}, {401, 1}}) {
        MadeReceiver receiver;
        MadeWorld world;
        Delivery delivery(receiver, world.hooks(), 5);
        receiver.answer = [&, code = status](auto&) { return Reply{code, "", {}}; };
        EXPECT_EQ(delivery.deliver(lines(10)), Delivery::Result::GivenUp);
        EXPECT_EQ(receiver.requests, requests) << status;
    }
}

// --- From a log to the receiver

static const LogHead Head{"1.2.0", "db7", "boot", "run"};
static constexpr int64_t Start = 1795266310000;

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

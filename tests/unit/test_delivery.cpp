// The way of a batch to its receiver.
#include "wyrtlog/push/delivery.h"

#include "tests/unit/receiver.h"

#include <map>

namespace {
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
        EXPECT_EQ(delivery.deliver(lines(100)), Delivery::Result::Ended);
        EXPECT_EQ(world.said.find("left out"), std::string::npos) << world.said;
        EXPECT_EQ(std::count(world.said.begin(), world.said.end(), '\n'), 1) << world.said;
        EXPECT_EQ(world.pauses.back(), 16000000) << "it waits longer each time";
        receiver.answer = [](auto&) { return Reply{204, "", {}}; };
        EXPECT_EQ(delivery.deliver(lines(100)), Delivery::Result::Complete);
        EXPECT_EQ(receiver.taken, lines(100));
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

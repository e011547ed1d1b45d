#include "wyrtlog/push/delivery.h"

#include <algorithm>

// A text of lines is cut after the line in its middle. Of one line this is all of it.
static size_t middleOf(std::string_view text) {
    const auto after = text.find('\n', text.size() / 2);
    if (after != text.npos && after + 1 < text.size()) return after + 1;
    const auto before = text.substr(0, text.size() / 2).rfind('\n');
    return before == text.npos ? text.size() : before + 1;
}

static uint64_t linesOf(const std::vector<std::string_view>& pieces) {
    uint64_t lines = 0;
    for (const auto piece : pieces) lines += static_cast<uint64_t>(std::count(piece.begin(), piece.end(), '\n'));
    return lines;
}

Reply Delivery::attempt(std::string_view piece) {
    if (!gzip.pack(piece, packed)) return {0, "there is no memory for compressing a batch", {}};
    return receiver.send(packed);
}

// The same trouble is said once.
void Delivery::complain(const std::string& what) {
    if (what == trouble) return;
    trouble = what;
    world.say(what);
}

void Delivery::recover() {
    backoff.succeed();
    if (!trouble.empty()) world.say("the receiver takes points again");
    trouble.clear();
}

Delivery::Result Delivery::waitAfter(const Reply& reply, bool hopeless) {
    const auto wait = backoff.next(reply.retry_after_s, world.random());
    if (patience > 0 && (hopeless || backoff.failed() >= patience)) return Result::GivenUp;
    return world.pause(wait) ? Result::Complete : Result::Ended;
}

// Two pieces for one, the first of them next. False: it is one line.
bool Delivery::split(std::string_view piece) {
    const size_t middle = middleOf(piece);
    if (middle == piece.size()) return false;
    pieces.push_back(piece.substr(middle));
    pieces.push_back(piece.substr(0, middle));
    return true;
}

// Sends all of the batch. What is refused is sent again in halves, as far as a number of attempts goes, so that a few
// bad points take few others with them.
Delivery::Result Delivery::round(std::string_view batch, Reply& refusal, bool& anyTaken) {
    constexpr size_t Least = 4096; // bytes that every receiver takes at once
    unsigned splits = 64;
    pieces.assign(1, batch);
    bad.clear();
    while (!pieces.empty()) {
        const auto piece = pieces.back();
        pieces.pop_back();
        if (piece.size() > most && split(piece)) continue;
        auto reply = attempt(piece);
        const auto verdict = verdictOf(reply.status);
        if (verdict == Verdict::Taken) {
            anyTaken = true;
            recover();
        } else if (verdict == Verdict::Later || verdict == Verdict::Setup) {
            const bool setup = verdict == Verdict::Setup;
            complain(describe(reply) +
                     (setup ? "; nothing is lost while the logs are there, and it is tried again" : ""));
            if (const auto result = waitAfter(reply, setup); result != Result::Complete) return result;
            pieces.push_back(piece);
        } else {
            if (verdict == Verdict::TooLarge) most = std::min(most, std::max(piece.size() / 2, Least));
            refusal = std::move(reply);
            if (splits == 0 || !split(piece)) bad.push_back(piece);
            else splits--;
        }
    }
    return Result::Complete;
}

Delivery::Result Delivery::deliver(std::string_view batch) {
    for (;;) {
        Reply refusal;
        bool anyTaken = false;
        if (const auto result = round(batch, refusal, anyTaken); result != Result::Complete || bad.empty())
            return result;
        if (anyTaken) {
            const auto lines = linesOf(bad);
            world.say(std::to_string(lines) + (lines == 1 ? " point is" : " points are") +
                      " left out, because the receiver does not take them: " + describe(refusal));
            return Result::Complete;
        }
        most = All;
        complain(describe(refusal) + "; it takes nothing of a whole batch, which waits (--since leaves out what is "
                                     "too old for it)");
        if (const auto result = waitAfter(refusal, true); result != Result::Complete) return result;
    }
}

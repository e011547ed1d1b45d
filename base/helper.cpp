#include "base/helper.h"

#include "base/clock.h"

#include <algorithm>
#include <cerrno>
#include <utility>

// A worker gets several questions at once, so that it need not wait for the program between two.
static constexpr size_t MostSent = 32;

// --- Questions

Helper::Pending* Helper::find(Ticket ticket) {
    const auto found = pending.find(ticket);
    return found == pending.end() ? nullptr : &found->second;
}

Helper::Ticket Helper::ask(Question question) {
    const Ticket ticket = ++last;
    (question.kind == Question::Kind::Tool ? tools : queue).push_back(ticket);
    pending.emplace(ticket, Pending{std::move(question), State::Queued, {}});
    return ticket;
}

static bool isFinal(Helper::State state) { return state == Helper::State::Answered || state == Helper::State::Refused; }

Helper::State Helper::take(Ticket ticket, Answer& answer) {
    auto* found = find(ticket);
    if (found && !isFinal(found->state)) pump();
    if (!found) return State::Unknown;
    const auto state = found->state;
    if (isFinal(state)) {
        answer = std::move(found->answer);
        pending.erase(ticket);
    } else {
        answer = found->answer;
        answer.took_us = state == State::Queued ? 0 : getMonotonic() - answer.asked_us;
    }
    return state;
}

void Helper::forget(Ticket ticket) {
    pending.erase(ticket);
    std::erase(queue, ticket);
    std::erase(tools, ticket);
    std::erase_if(lanes, [&](auto& lane) {
        if (!lane.begun || lane.sent.front().ticket != ticket) return false;
        takeBack(lane); // it has far to go
        dismiss(lane.worker);
        return true;
    });
}

static Answer failure(int error) {
    Answer answer;
    answer.error = error;
    return answer;
}

void Helper::finish(Ticket ticket, Answer&& answer, int64_t since, int64_t now) {
    auto* found = find(ticket);
    if (!found) return; // forgotten
    found->state = State::Answered;
    found->answer = std::move(answer);
    found->answer.asked_us = since;
    found->answer.took_us = now - since;
}

void Helper::refuse(std::deque<Ticket>& from) {
    for (const Ticket ticket : from)
        if (auto* found = find(ticket)) found->state = State::Refused;
    from.clear();
}

// --- Workers

// Other questions than the first are for another worker.
void Helper::takeBack(Lane& lane) {
    while (lane.sent.size() > 1) {
        if (auto* other = find(lane.sent.back().ticket)) {
            other->state = State::Queued;
            queue.push_front(lane.sent.back().ticket);
        }
        lane.sent.pop_back();
    }
}

// The worker is stuck with its first question.
void Helper::giveUp(Lane& lane) {
    lane.stuck = true;
    if (auto* head = find(lane.sent.front().ticket)) head->state = State::Late;
    takeBack(lane);
}

// Takes in the answers of one worker. False: it is no more, or of no use.
bool Helper::collect(Lane& lane, int64_t now) {
    Answer answer;
    Ticket ticket = 0;
    constexpr int MostPieces = 16; // then await() looks at the clock
    for (int pieces = 0; pieces < MostPieces;) {
        const auto came = lane.worker.receive(answer, ticket);
        if (came == Came::Nothing) break;
        if (came == Came::End) {
            if (lane.sent.empty()) return false;
            giveUp(lane);
            finish(lane.sent.front().ticket, failure(EPIPE), lane.since, now);
            return false;
        }
        if (lane.sent.empty() || lane.sent.front().ticket != ticket) continue; // given to another worker meanwhile
        if (answer.more) {
            const auto* asked = find(ticket); // null: forgotten
            if (asked && asked->question.piece) asked->question.piece(answer);
            if (!lane.stuck) lane.since = now; // it goes on
            lane.begun = true;
            pieces++;
            continue;
        }
        lane.begun = false;
        finish(ticket, std::move(answer), lane.since, now);
        lane.sent.pop_front();
        if (lane.stuck) return false; // it answered at last, and would go on with what others were asked meanwhile
        lane.since = now;
        if (lane.sent.empty()) continue;
        if (auto* next = find(lane.sent.front().ticket)) next->answer.asked_us = now;
    }
    if (!lane.stuck && !lane.sent.empty() && now - lane.since > lane.sent.front().patience_us) giveUp(lane);
    return !lane.stuck || find(lane.sent.front().ticket); // nobody waits for what was forgotten
}

// Its process ends by itself, unless it hangs in the kernel.
void Helper::dismiss(Worker& worker) {
    worker.kill();
    if (!worker.isGone()) leaving.push_back(std::move(worker));
}

// The worker for the next question; null: there can be none.
Helper::Lane* Helper::freeLane() {
    const auto found = std::find_if(lanes.begin(), lanes.end(), [](auto& lane) { return !lane.stuck; });
    if (found != lanes.end()) return &*found;
    if (abandoned() > MostAbandoned) return nullptr;
    Lane lane;
    if (!lane.worker.start()) return nullptr;
    return &lanes.emplace_back(std::move(lane));
}

void Helper::sendMore(int64_t now) {
    while (!queue.empty()) {
        auto* lane = freeLane();
        if (!lane) return refuse(queue);
        auto* next = find(queue.front());
        if (lane->sent.size() >= MostSent || !lane->worker.send(next->question, queue.front())) return;
        if (lane->sent.empty()) lane->since = now;
        lane->sent.push_back({queue.front(), next->question.patience_us});
        next->state = State::Asked;
        next->answer.asked_us = now;
        queue.pop_front();
    }
}

// --- Tools

void Helper::startTool(int64_t now) {
    while (!tools.empty()) {
        const Ticket ticket = tools.front();
        auto* next = find(ticket);
        tools.pop_front();
        Run run{{}, ticket, now, next->question.patience_us};
        if (run.tool.start(next->question)) {
            next->state = State::Asked;
            next->answer.asked_us = now;
            runs.push_back(std::move(run));
            return;
        }
        finish(ticket, failure(errno), now, now);
    }
}

void Helper::pumpTools(int64_t now) {
    for (auto& run : runs) {
        Answer answer;
        const auto came = run.tool.receive(answer);
        if (came == Came::Answer) finish(run.ticket, std::move(answer), run.since, now);
        else if (came == Came::Nothing && run.ticket && now - run.since > run.patience_us) {
            finish(run.ticket, failure(ETIMEDOUT), run.since, now);
            run.tool.kill();
            run.ticket = 0;
        }
        if (came == Came::Nothing) continue;
        run.patience_us = -1; // to be removed
    }
    std::erase_if(runs, [](auto& run) { return run.patience_us < 0; });
    if (std::any_of(runs.begin(), runs.end(), [](auto& run) { return run.ticket != 0; })) return;
    if (abandoned() >= MostAbandoned) refuse(tools);
    else startTool(now);
}

// --- All

void Helper::pump() {
    const int64_t now = getMonotonic();
    std::erase_if(leaving, [](auto& worker) { return worker.isGone(); });
    std::erase_if(lanes, [&](auto& lane) {
        const bool useful = collect(lane, now);
        if (!useful) dismiss(lane.worker);
        return !useful;
    });
    sendMore(now);
    pumpTools(now);
}

void Helper::watch(std::vector<Watched>& watched) const {
    for (const auto& lane : lanes) watched.push_back({lane.worker.handle(), false});
    for (const auto& run : runs)
        if (run.ticket) watched.push_back({run.tool.handle(), false});
}

void Helper::await(int64_t until, Await what) {
    constexpr int64_t Nap = 5000; // a tool that has closed its output and not ended yet
    std::vector<Watched> watched;
    for (;;) {
        pump();
        int64_t soonest = until;
        bool waiting = false;
        for (const auto& lane : lanes) {
            if (lane.stuck || lane.sent.empty()) continue;
            waiting = true;
            soonest = std::min(soonest, lane.since + lane.sent.front().patience_us + 1);
        }
        for (const auto& run : runs) {
            if (!run.ticket || what == Await::NoTools) continue;
            waiting = true;
            soonest = std::min(soonest, run.since + run.patience_us + 1);
            if (run.tool.handle() < 0) soonest = std::min(soonest, getMonotonic() + Nap);
        }
        if (!waiting || getMonotonic() >= until) return;
        watched.clear();
        watch(watched);
        waitReady(soonest, watched);
    }
}

size_t Helper::abandoned() const {
    return leaving.size() +
           static_cast<size_t>(std::count_if(lanes.begin(), lanes.end(), [](auto& lane) { return lane.stuck; }) +
                               std::count_if(runs.begin(), runs.end(), [](auto& run) { return run.ticket == 0; }));
}

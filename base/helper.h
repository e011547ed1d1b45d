// Questions whose answers may never come: a filesystem whose server is gone, a driver that asks its firmware, a tool.
// Helper processes ask them: a helper may wait, the program never does.
#pragma once

#include "base/wait.h"
#include "base/worker.h"

#include <cstdint>
#include <deque>
#include <map>
#include <vector>

class Helper {
public:
    using Ticket = uint64_t; // identifies a question; 0: none
    enum class State {
        Queued,   // not asked yet; other questions precede it
        Asked,    // no answer yet, within its time
        Late,     // no answer within its time: the row is "stuck since" asked_us. An answer may still come
        Refused,  // not asked, because the highest number of helpers is stuck. Ask again later
        Answered, // take() gives the answer
        Unknown,  // no such ticket
    };
    // Workers and tools together. One more worker may be late, but none takes its place.
    static constexpr size_t MostAbandoned = 3;

    Helper() = default;
    Helper(const Helper&) = delete;
    Helper& operator=(const Helper&) = delete;
    ~Helper() = default; // does not wait for anybody

    // Queues a question; does not wait.
    Ticket ask(Question question);
    // Never waits. Answered: the answer is handed over and the ticket is used up. Refused: the ticket is used up, too.
    State take(Ticket ticket, Answer& answer);
    // Drops a question whose answer is not needed any more. A worker that is stuck with it, or has begun to answer it
    // in pieces, is killed; most waits in the kernel end then.
    void forget(Ticket ticket);
    // Waits until no answer can be expected soon (all questions left are late), or until the monotonic clock reaches
    // `until`. Answers for the next sample need no await: they arrive during the pause.
    // Without tools: only answers of workers are waited for.
    enum class Await { Everything, NoTools };
    void await(int64_t until, Await what = Await::Everything);
    // Reads answers that have arrived and asks queued questions. take() and await() do this, too.
    void pump();
    // The handles to watch during a pause; call pump() when one of them is ready.
    void watch(std::vector<Watched>& watched) const;
    size_t abandoned() const; // processes that are stuck now, or were killed and are not gone yet

private:
    struct Pending {
        Question question;
        State state = State::Queued;
        Answer answer;
    };
    struct Sent {
        Ticket ticket;
        int64_t patience_us;
    };
    // A worker and the questions it has, in their order.
    struct Lane {
        Worker worker;
        std::deque<Sent> sent;
        int64_t since = 0;  // when it got the first of them
        bool stuck = false; // its only question left is late
        bool begun = false; // some pieces of the first answer have come
    };
    // A tool that runs, or (without a ticket) was killed and has not ended yet.
    struct Run {
        Tool tool;
        Ticket ticket = 0;
        int64_t since = 0, patience_us = 0;
    };
    std::map<Ticket, Pending> pending;
    std::deque<Ticket> queue, tools; // not asked yet
    std::vector<Lane> lanes;         // at most one that is not stuck is kept
    std::vector<Worker> leaving;     // killed, and perhaps not gone yet
    std::vector<Run> runs;           // at most one with a ticket
    Ticket last = 0;

    bool collect(Lane& lane, int64_t now);
    void dismiss(Worker& worker);
    void takeBack(Lane& lane);
    void giveUp(Lane& lane);
    Lane* freeLane();
    void sendMore(int64_t now);
    void pumpTools(int64_t now);
    void startTool(int64_t now);
    void finish(Ticket ticket, Answer&& answer, int64_t since, int64_t now);
    void refuse(std::deque<Ticket>& from);
    Pending* find(Ticket ticket);
};

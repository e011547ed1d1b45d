// Questions whose answers may never come: a filesystem whose server is gone, a driver that asks its firmware, a tool.
// Helper processes ask them; who waits is the helper, never the program.
#pragma once

#include "base/wait.h"
#include "base/worker.h"

#include <cstdint>
#include <deque>
#include <map>
#include <vector>

class Helper {
public:
    using Ticket = uint64_t; // a question that was asked; 0: none
    enum class State {
        Queued,   // not asked yet: others come first
        Asked,    // no answer yet, and its time is not over
        Late,     // no answer, and its time is over: the row is "stuck since" asked_us. An answer may still come
        Refused,  // not asked: as many questions are stuck as there may be helpers. Ask again later
        Answered, // take() gives the answer
        Unknown,  // no such ticket
    };
    static constexpr size_t MostAbandoned = 3;

    Helper() = default;
    Helper(const Helper&) = delete;
    Helper& operator=(const Helper&) = delete;
    ~Helper() = default; // does not wait for anybody

    // Asks later what can be asked at once; does not wait.
    Ticket ask(Question question);
    // Never waits. When Answered, the answer is handed over and the ticket is used up; so it is when Refused.
    State take(Ticket ticket, Answer& answer);
    // The answer is not wanted any more.
    void forget(Ticket ticket);
    // Waits until there is nothing that may be answered soon (all that is left is late), or until the monotonic clock
    // reaches `until`. What is due at the next sample needs no await: it comes during the pause.
    void await(int64_t until);
    // Takes in what came and asks what waits; take() and await() do it, too.
    void pump();
    // What to watch during a pause, for a pump() as soon as something has come.
    void watch(std::vector<Watched>& watched) const;
    size_t abandoned() const; // helper processes that are stuck now

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
        int64_t since = 0;  // when it came to the first of them
        bool stuck = false; // the first of them is late, and is all that is left
    };
    // A tool that runs, or was killed and is not gone yet (no ticket).
    struct Run {
        Tool tool;
        Ticket ticket = 0;
        int64_t since = 0, patience_us = 0;
    };
    std::map<Ticket, Pending> pending;
    std::deque<Ticket> queue, tools; // not asked yet
    std::vector<Lane> lanes;         // at most one that is not stuck is kept
    std::vector<Run> runs;           // at most one with a ticket
    Ticket last = 0;

    bool collect(Lane& lane, int64_t now);
    void giveUp(Lane& lane);
    Lane* freeLane();
    void sendMore(int64_t now);
    void pumpTools(int64_t now);
    void startTool(int64_t now);
    void finish(Ticket ticket, Answer&& answer, int64_t since, int64_t now);
    void refuse(std::deque<Ticket>& from);
    Pending* find(Ticket ticket);
};

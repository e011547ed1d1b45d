// Reports: `wyrt chart` as a program of its own, one at a time, within limits of time and size. So whatever a report
// costs, nothing else waits for it.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

class Reporter {
public:
    // Called in the reporter's thread: the report of this asker is there. Also at least every half second,
    // with null.
    using Ready = std::function<void(const void* asker)>;
    struct Report {
        int status = 0;     // of the program; 255: it could not be started, or was ended
        std::string text;   // its output
        bool timely = true; // it was not ended because it took too long or printed too much
    };
    struct Limits {
        int64_t patience_us = 60000000;
        size_t most = size_t{32} << 20; // bytes
    };

    Reporter(Ready ready, Limits limits) : onReady(std::move(ready)), bounds(limits) {}
    Reporter(const Reporter&) = delete;
    Reporter& operator=(const Reporter&) = delete;
    ~Reporter() { stop(); }
    // Signals that end the program must be blocked.
    void start();
    void stop();
    // Begins a report. False: another one is being made.
    bool ask(const void* asker, std::vector<std::string> words);
    bool isOf(const void* asker) const;
    // None: it is not ready.
    std::optional<Report> take(const void* asker);
    // Nobody waits for it any more.
    void forget(const void* asker);

private:
    enum class State { Free, Asked, Running, Ready };
    Ready onReady;
    Limits bounds;
    std::thread thread;
    mutable std::mutex mutex; // guards what follows
    std::condition_variable changed;
    State state = State::Free;
    const void* asker = nullptr; // null: it went away
    std::vector<std::string> words;
    Report report;
    bool stopping = false;

    void work();
    Report made(std::vector<std::string> command);
    bool isUnwanted() const;
};

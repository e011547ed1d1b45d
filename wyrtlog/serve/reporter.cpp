#include "wyrtlog/serve/reporter.h"

#include "base/clock.h"
#include "base/wait.h"
#include "base/worker.h"

#include <chrono>
#include <utility>

void Reporter::start() {
    thread = std::thread([this] { work(); });
}

void Reporter::stop() {
    {
        const std::lock_guard lock(mutex);
        stopping = true;
    }
    changed.notify_all();
    if (thread.joinable()) thread.join();
}

bool Reporter::ask(const void* by, std::vector<std::string> command) {
    {
        const std::lock_guard lock(mutex);
        if (state != State::Free || stopping) return false;
        state = State::Asked, asker = by, words = std::move(command);
    }
    changed.notify_all();
    return true;
}

bool Reporter::isOf(const void* by) const {
    const std::lock_guard lock(mutex);
    return state != State::Free && asker == by;
}

std::optional<Reporter::Report> Reporter::take(const void* by) {
    const std::lock_guard lock(mutex);
    if (state != State::Ready || asker != by) return {};
    state = State::Free, asker = nullptr;
    return std::exchange(report, {});
}

void Reporter::forget(const void* by) {
    const std::lock_guard lock(mutex);
    if (state == State::Free || asker != by) return;
    asker = nullptr;
    if (state == State::Running) return; // the program is ended soon
    state = State::Free, report = {};
}

bool Reporter::isUnwanted() const {
    const std::lock_guard lock(mutex);
    return stopping || !asker;
}

Reporter::Report Reporter::made(std::vector<std::string> command) {
    constexpr int64_t Look = 200000; // microseconds
    Question question;
    question.kind = Question::Kind::Tool;
    question.words = std::move(command);
    question.patience_us = bounds.patience_us;
    question.most = bounds.most;
    Tool tool;
    if (!tool.start(question)) return {255, "", true};
    const int64_t end = getMonotonic() + bounds.patience_us;
    for (bool late = false;;) {
        Answer answer;
        const auto came = tool.receive(answer);
        if (came == Came::Answer && !late) return {answer.status, std::move(answer.text), !answer.cut};
        if (came != Came::Nothing) return {255, "", false};
        if (!late && (getMonotonic() > end || isUnwanted())) late = true, tool.kill();
        Watched output{tool.handle()};
        waitReady(getMonotonic() + Look, {&output, 1});
        onReady(nullptr);
    }
}

void Reporter::work() {
    constexpr auto Tick = std::chrono::milliseconds(500);
    std::unique_lock lock(mutex);
    while (!stopping) {
        changed.wait_for(lock, Tick, [this] { return stopping || state == State::Asked; });
        const void* by = nullptr;
        if (state == State::Asked && !stopping) {
            state = State::Running;
            auto command = std::exchange(words, {});
            lock.unlock();
            auto one = made(std::move(command));
            lock.lock();
            by = asker;
            state = by ? State::Ready : State::Free;
            if (by) report = std::move(one);
        }
        lock.unlock();
        onReady(by);
        lock.lock();
    }
}

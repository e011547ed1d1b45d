#include "wyrt/writer.h"

#include "wyrt/queue.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

using namespace std::chrono_literals;

// --- In the caller's thread

namespace {
class DirectWriter : public Writer {
    LogFile file;
    std::string pending; // a piece that found no room
    Wrote last = Wrote::All;

    void flush() {
        last = file.write(pending);
        if (last == Wrote::All) pending.clear();
    }

public:
    explicit DirectWriter(LogFile to) : file(std::move(to)) {}
    bool ready() override {
        if (!pending.empty() && !isOver()) flush();
        return pending.empty();
    }
    void put(std::string text) override {
        pending = std::move(text);
        flush();
    }
    bool isOver() override { return last == Wrote::NoReader || last == Wrote::Lost; }
    int error() override { return file.error(); }
    bool finish() override {
        const bool good = ready();
        file.end();
        return good;
    }
};

// --- In a thread of its own

// What both threads know. The thread keeps it, too, so that one that hangs in a write need not be waited for.
struct Shared {
    static constexpr size_t Room = 8; // pieces
    Queue<std::string> queue{Room};
    LogFile file;                      // the thread's alone
    std::atomic<bool> failing = false; // the piece at hand finds no room
    std::atomic<bool> over = false;    // no piece will ever be written again
    std::atomic<int> error = 0;
    Queue<bool> ended{1}; // gets whether all was written
};

class ThreadWriter : public Writer {
    std::shared_ptr<Shared> shared;
    std::thread thread;

public:
    explicit ThreadWriter(LogFile to);
    ~ThreadWriter() override { finish(); }
    bool ready() override { return !shared->failing && !shared->over && shared->queue.hasRoom(); }
    void put(std::string text) override { shared->queue.put(std::move(text)); }
    bool isOver() override { return shared->over; }
    int error() override { return shared->error; }
    bool finish() override;
};
} // namespace

// Tries until there is room; when the program ends, once more.
static bool writePiece(Shared& shared, std::string_view text) {
    for (bool last = false;;) {
        const auto wrote = shared.file.write(text);
        shared.error = shared.file.error();
        shared.failing = wrote != Wrote::All;
        if (wrote == Wrote::All) return true;
        if (wrote != Wrote::Later) shared.over = true;
        if (wrote != Wrote::Later || last) return false;
        last = shared.queue.waitClosed(1s);
    }
}

static void writeAll(const std::shared_ptr<Shared>& shared) {
    constexpr auto Between = 5s; // so much is lost at the most when the machine goes down
    auto synced = std::chrono::steady_clock::now() - Between;
    bool good = true;
    while (auto text = shared->queue.take()) {
        good = good && writePiece(*shared, *text);
        if (!good || std::chrono::steady_clock::now() - synced < Between) continue;
        shared->file.sync();
        synced = std::chrono::steady_clock::now();
    }
    if (good) shared->file.sync();
    shared->file.end();
    shared->ended.put(bool(good));
}

ThreadWriter::ThreadWriter(LogFile to) : shared(std::make_shared<Shared>()) {
    shared->file = std::move(to);
    thread = std::thread([kept = shared] { writeAll(kept); });
}

bool ThreadWriter::finish() {
    constexpr auto Patience = 3s;
    if (!thread.joinable()) return true;
    shared->queue.close();
    const auto good = shared->ended.takeWithin(Patience);
    if (good) thread.join();
    else thread.detach(); // it hangs in the disk; the process ends without it
    if (!good) shared->error = ETIMEDOUT;
    return good.value_or(false);
}

std::unique_ptr<Writer> directWriter(LogFile file) { return std::make_unique<DirectWriter>(std::move(file)); }
std::unique_ptr<Writer> threadWriter(LogFile file) { return std::make_unique<ThreadWriter>(std::move(file)); }

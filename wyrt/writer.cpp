#include "wyrt/writer.h"

#include "wyrt/queue.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <optional>
#include <system_error>
#include <thread>

using namespace std::chrono_literals;

// --- In the caller's thread

namespace {
class DirectWriter : public Writer {
    std::unique_ptr<LogTarget> target;
    std::optional<Piece> pending; // found no room
    Wrote last = Wrote::All;

    void flush() {
        last = target->write(*pending);
        if (last == Wrote::All) pending.reset();
    }

public:
    explicit DirectWriter(std::unique_ptr<LogTarget> to) : target(std::move(to)) {}
    bool ready() override {
        if (pending && !isOver()) flush();
        return !pending;
    }
    void put(Piece piece) override {
        pending = std::move(piece);
        flush();
    }
    bool isOver() override { return last == Wrote::NoReader || last == Wrote::Lost; }
    int error() override { return target->error(); }
    bool isGone() override { return target->isGone(); }
    bool finish() override {
        const bool good = ready();
        target->end();
        return good;
    }
};

// --- In a thread of its own

// What both threads know. The thread keeps it, too, so that one that hangs in a write need not be waited for.
struct Shared {
    static constexpr size_t Room = 8; // pieces
    Queue<Piece> queue{Room};
    std::unique_ptr<LogTarget> target; // the thread's alone
    std::atomic<bool> failing = false; // the piece at hand finds no room
    std::atomic<bool> over = false;    // no piece will ever be written again
    std::atomic<bool> gone = false;    // the log's file has lost its name
    std::atomic<int> error = 0;
    Queue<bool> ended{1}; // gets whether all was written
};

class ThreadWriter : public Writer {
    std::shared_ptr<Shared> shared;
    std::thread thread;

public:
    // Throws std::system_error where no thread can begin.
    ThreadWriter(std::shared_ptr<Shared> kept, int64_t sync_us);
    ~ThreadWriter() override { finish(); }
    bool ready() override { return !shared->failing && !shared->over && shared->queue.hasRoom(); }
    void put(Piece piece) override { shared->queue.put(std::move(piece)); }
    bool isOver() override { return shared->over; }
    int error() override { return shared->error; }
    bool isGone() override { return shared->gone; }
    bool finish() override;
};
} // namespace

// Tries until there is room; when the program ends, once more.
static bool writePiece(Shared& shared, const Piece& piece) {
    for (bool last = false;;) {
        const auto wrote = shared.target->write(piece);
        shared.error = shared.target->error();
        shared.failing = wrote != Wrote::All;
        shared.gone = shared.target->isGone();
        if (wrote == Wrote::All) return true;
        if (wrote != Wrote::Later) shared.over = true;
        if (wrote != Wrote::Later || last) return false;
        last = shared.queue.waitClosed(1s);
    }
}

// The disk gets the other half of the time: a busy one may take long for it.
static void writeAll(const std::shared_ptr<Shared>& shared, int64_t sync_us) {
    const std::chrono::microseconds between(sync_us / 2);
    auto synced = std::chrono::steady_clock::now() - between;
    bool good = true;
    while (auto piece = shared->queue.take()) {
        good = good && writePiece(*shared, *piece);
        const auto now = std::chrono::steady_clock::now();
        if (!good || now - synced < between) continue;
        shared->target->sync();
        synced = now;
    }
    if (good) shared->target->sync();
    shared->target->end();
    shared->ended.put(bool(good));
}

ThreadWriter::ThreadWriter(std::shared_ptr<Shared> kept, int64_t sync_us) : shared(std::move(kept)) {
    thread = std::thread([kept = shared, sync_us] { writeAll(kept, sync_us); });
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

std::unique_ptr<Writer> directWriter(std::unique_ptr<LogTarget> target) {
    return std::make_unique<DirectWriter>(std::move(target));
}

std::unique_ptr<Writer> threadWriter(std::unique_ptr<LogTarget> target, int64_t sync_us) {
    const auto shared = std::make_shared<Shared>();
    shared->target = std::move(target);
    try {
        return std::make_unique<ThreadWriter>(shared, sync_us);
    } catch (const std::system_error&) { // limits of processes or memory
        return directWriter(std::move(shared->target));
    }
}

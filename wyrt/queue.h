// What one thread hands to another, in its order. It has room for so many.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

template <typename T> class Queue {
    mutable std::mutex lock;
    std::condition_variable changed;
    std::deque<T> items;
    size_t room;
    bool closed = false;

    std::optional<T> first() {
        if (items.empty()) return {};
        std::optional<T> item(std::move(items.front()));
        items.pop_front();
        return item;
    }

public:
    explicit Queue(size_t size) : room(size) {}
    // With one thread that puts, it stays true until that thread puts.
    bool hasRoom() const {
        const std::lock_guard guard(lock);
        return items.size() < room;
    }
    // False: there is no room, or it is closed; the item stays with the caller.
    bool put(T&& item) {
        const std::lock_guard guard(lock);
        if (closed || items.size() >= room) return false;
        items.push_back(std::move(item));
        changed.notify_one();
        return true;
    }
    // Waits for the next. None: it is closed and empty.
    std::optional<T> take() {
        std::unique_lock guard(lock);
        changed.wait(guard, [&] { return closed || !items.empty(); });
        return first();
    }
    // The same, but waits no longer than that.
    template <typename Duration> std::optional<T> takeWithin(Duration span) {
        std::unique_lock guard(lock);
        changed.wait_for(guard, span, [&] { return closed || !items.empty(); });
        return first();
    }
    // No more is put in; what is there can still be taken.
    void close() {
        const std::lock_guard guard(lock);
        closed = true;
        changed.notify_all();
    }
    // Waits until it is closed, or for so long. True: it is closed.
    template <typename Duration> bool waitClosed(Duration span) {
        std::unique_lock guard(lock);
        return changed.wait_for(guard, span, [&] { return closed; });
    }
};

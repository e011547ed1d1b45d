// How a Contents is filled.
#pragma once

#include "base/door.h"

#include <algorithm>
#include <cerrno>

#include <sys/types.h>

// Makes at least `least` bytes free and keeps the text.
inline void makeRoom(Contents& text, size_t least) {
    if (text.capacity - text.size >= least) return;
    constexpr size_t First = 16384; // most files, all of a process included, fit into it
    const size_t capacity = std::max({First, text.capacity * 2, text.size + least});
    std::unique_ptr<char[]> data(new char[capacity]);
    std::copy_n(text.data.get(), text.size, data.get());
    text.data = std::move(data);
    text.capacity = capacity;
}

// Reads from the file's start to its end, or as far as is wanted. `read` is called as read(to, size) of the C library.
template <typename Read> void readAll(Contents& text, Reading how, size_t most, const Read& read) {
    text.size = 0;
    text.error = 0;
    while (text.size < most) {
        makeRoom(text, 1);
        const size_t wanted = std::min(text.capacity, most) - text.size;
        const ssize_t n = read(text.data.get() + text.size, wanted);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) text.error = errno;
        if (n <= 0) return;
        text.size += static_cast<size_t>(n);
        if (how == Reading::Single && static_cast<size_t>(n) < wanted) return;
    }
}

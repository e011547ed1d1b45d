// Makes room in a Contents for the next read.
#pragma once

#include "base/door.h"

#include <algorithm>

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

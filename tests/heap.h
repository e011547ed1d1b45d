// Replaces the functions that take memory from the heap, for a whole test program. All are replaced together: the
// sanitizers reject mixed ones.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <new>

static struct {
    size_t unavailable = SIZE_MAX; // requests for exactly so many bytes fail
    size_t requests = 0;           // so far
} heap;

[[gnu::noinline]] void* operator new(size_t size, const std::nothrow_t&) noexcept {
    heap.requests++;
    return size == heap.unavailable ? nullptr : std::malloc(size ? size : 1);
}
[[gnu::noinline]] void* operator new(size_t size) {
    void* room = operator new(size, std::nothrow);
    if (!room) throw std::bad_alloc();
    return room;
}
[[gnu::noinline]] void operator delete(void* room) noexcept { std::free(room); }
[[gnu::noinline]] void operator delete(void* room, size_t) noexcept { std::free(room); }

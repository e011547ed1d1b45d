// What the program does when it gets no memory.
#pragma once

#include "base/output.h"
#include "tests/unit/child.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__)
#define WYRT_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define WYRT_SANITIZED
#endif
#endif

#ifdef WYRT_SANITIZED
#define NEEDS_ITS_HEAP() GTEST_SKIP() << "the sanitizers have a heap of their own, which does not run out"
#else
#define NEEDS_ITS_HEAP() static_cast<void>(0)
#endif

// Takes all blocks of `least` bytes or more that the heap has; freed small ones are kept there by size.
inline void emptyHeap(size_t least) {
    constexpr size_t Small = 1040, Step = 16;
    void* volatile kept = nullptr;
    for (size_t size = 1U << 20U; size >= least; size = size > Small ? std::max(size / 2, Small) : size - Step) {
        do kept = std::malloc(size);
        while (kept != nullptr);
    }
}

// The stack as large as it will be needed: without memory it cannot grow.
[[gnu::noinline]] inline void growStack() {
    volatile char stack[1U << 18U];
    for (size_t i = 0; i < sizeof stack; i += 512) stack[i] = 1;
}

// Calls `act` in a process of its own whose heap has no block of `least` bytes or more to give, but some smaller ones
// for texts on the way; whether it returned true.
inline bool withoutMemory(size_t least, const std::function<bool()>& act) {
    const pid_t child = fork();
    if (child == 0) {
        say("%s", ""); // gives the buffer its room
        growStack();
        std::vector<void*> small, between; // those between keep neighbours from being joined when they are freed
        for (size_t size = 16; size + 32 < least && size <= 1024; size += 16)
            for (int i = 0; i < 7; i++) small.push_back(std::malloc(size)), between.push_back(std::malloc(16));
        rlimit limit{}, nothing{};
        getrlimit(RLIMIT_AS, &limit);
        nothing.rlim_max = limit.rlim_max;
        setrlimit(RLIMIT_AS, &nothing);
        emptyHeap(least);
        for (auto* block : small) std::free(block);
        const bool result = act();
        setrlimit(RLIMIT_AS, &limit); // how the process ends may need some
        endChild(result ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}

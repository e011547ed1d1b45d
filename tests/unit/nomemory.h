// Runs a part of the program without memory.
#pragma once

#include "base/output.h"
#include "tests/unit/child.h"
#include "tests/unit/sanitized.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef WYRT_SANITIZED
#define NEEDS_ITS_HEAP() GTEST_SKIP() << "the sanitizers have a heap of their own, which does not run out"
#else
#define NEEDS_ITS_HEAP() static_cast<void>(0)
#endif

// Takes all blocks of at least `least` bytes from the heap. Smaller freed blocks stay in the heap, in lists by size.
inline void emptyHeap(size_t least) {
    constexpr size_t Small = 1040, Step = 16;
    void* volatile kept = nullptr;
    for (size_t size = 1U << 20U; size >= least; size = size > Small ? std::max(size / 2, Small) : size - Step) {
        do kept = std::malloc(size);
        while (kept != nullptr);
    }
}

// Makes the stack as large as the test will need it, because it cannot grow without memory.
[[gnu::noinline]] inline void growStack() {
    volatile char stack[1U << 18U];
    for (size_t i = 0; i < sizeof stack; i += 512) stack[i] = 1;
}

// Calls `act` in a process of its own whose heap has no blocks of `least` bytes or more, only some smaller ones for
// short texts. Returns what `act` returned.
inline bool withoutMemoryIn(size_t layout, size_t least, const std::function<bool()>& act) {
    const pid_t child = fork();
    if (child == 0) {
        void* volatile first = std::malloc(layout * 4096 + 16); // moves the end of the heap
        static_cast<void>(first);
        say("%s", ""); // allocates the output buffer
        growStack();
        std::vector<void*> small, between; // `between` keeps freed neighbours from being joined
        for (size_t size = 16; size + 32 < least && size <= 1024; size += 16)
            for (int i = 0; i < 7; i++) small.push_back(std::malloc(size)), between.push_back(std::malloc(16));
        rlimit limit{}, nothing{};
        getrlimit(RLIMIT_AS, &limit);
        nothing.rlim_max = limit.rlim_max;
        setrlimit(RLIMIT_AS, &nothing);
        emptyHeap(least);
        for (auto* block : small) std::free(block);
        const bool result = act();
        setrlimit(RLIMIT_AS, &limit); // the end of the process may need memory
        endChild(result ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}

// Where the heap ends decides which small blocks are left at the end: rarely one is missing that a short text needs. So
// up to three layouts of the heap are tried.
inline bool withoutMemory(size_t least, const std::function<bool()>& act) {
    for (size_t layout = 0; layout < 3; layout++)
        if (withoutMemoryIn(layout, least, act)) return true;
    return false;
}

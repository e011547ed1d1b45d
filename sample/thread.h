// Threads of the processes that ran and have several. A process with one thread is that thread: it is not read again.
#pragma once

#include "base/held.h"
#include "base/root.h"
#include "base/text.h"
#include "sample/proc.h"

#include <cstdint>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

// Since the thread began.
struct ThreadCounters {
    uint64_t run_ns = 0, wait_ns = 0;
    uint64_t user_ticks = 0, system_ticks = 0, block_ticks = 0, minor_faults = 0, major_faults = 0;
    uint64_t voluntary = 0, involuntary = 0; // switches
    bool hasSchedule = false, hasStat = false, hasSwitches = false;
};

// A thread that ran or waited since the last pass.
struct ThreadChange {
    int pid = 0, tid = 0;
    uint64_t start = 0, thread_start = 0; // clock ticks since boot
    Text<17> name, process;
    char state = 0;
    uint64_t core = 0;
    int64_t nice = 0;
    std::optional<ThreadCounters> before; // none: it was not seen before, and did not begin since
    ThreadCounters now;
};

struct ThreadSample {
    int64_t at_us = 0, before_us = 0; // monotonic, of this pass and of the last one
    uint32_t pass = 0;                // 1 is the first
    uint64_t tick_us = 10000;
    bool blocksCounted = false;        // the kernel counts waits for block I/O
    uint64_t threads = 0, ran = 0;     // of the processes that ran
    std::vector<ThreadChange> changes; // by process and thread
};

class ThreadSampler {
    struct Thread {
        int tid = 0;
        uint64_t start = 0; // clock ticks since boot; 0: the first pass does not read it
        ThreadCounters counters;
        bool runnable = false; // when it was read last: it ran, or waited for a CPU
        // Its waits with those that last, as rows have them; the kernel books a wait when it ends.
        uint64_t booked_ns = 0;
    };
    struct Group {
        uint64_t start = 0;          // of the process
        std::vector<Thread> threads; // by tid
    };
    HeldDirectory processes, tasks;
    Root root;
    Listing listing;
    Contents text;
    std::unordered_map<int, Group> groups; // processes with several threads, by pid
    std::vector<Thread> found;             // working space
    std::vector<int> tids;
    int64_t bootBefore_us = 0;
    uint64_t forbidden = 0; // folders

    bool list(int pid);
    bool readSchedule(int tid, ThreadCounters& counters);
    bool readStat(int tid, ThreadChange& change);
    void readSwitches(int tid, ThreadCounters& counters);
    static bool isAnother(const Thread& thread, const ThreadChange& change);
    bool stillWaits(Thread& thread, ThreadChange& change, const ThreadSample& now);
    void visit(const Ran& process, Group& group, bool known, ThreadSample& now);

public:
    explicit ThreadSampler(const Root& where) : root(where) {}
    // `ran` and `known` are of the same pass.
    void sample(std::span<const Ran> ran, const ProcSample& known, ThreadSample& now);
    // How many files and folders a right has forbidden to read so far.
    uint64_t notAllowed() const { return text.denied + forbidden; }
};

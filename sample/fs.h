// Filesystems: their space and inodes, asked in a helper process, because a filesystem whose server is gone answers
// nobody.
#pragma once

#include "base/held.h"
#include "base/helper.h"
#include "base/root.h"
#include "parse/filesystems.h"

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

// One filesystem, at the mount that shows it best.
struct FsEntry {
    uint64_t mount = 0; // the mount's id
    uint32_t major = 0, minor = 0;
    std::string point, source, type;
    bool remote = false;
    bool known = false; // there is an answer, and `space` is it
    Space space;
    int error = 0;           // errno of the question; 0: none
    int64_t answered_us = 0; // monotonic, of the last answer
    int64_t asked_us = 0;    // monotonic, of a question that has no answer in time: stuck since then; 0: not stuck
    uint64_t past_used = 0;  // bytes in use some minutes ago
    int64_t past_us = 0;     // monotonic, when that was; 0: not known
};

struct FsSample {
    int64_t at_us = 0; // monotonic
    bool known = false;
    std::vector<FsEntry> entries; // in the order of their mounts
};

class FsSampler {
    struct Past {
        int64_t at_us = 0;
        uint64_t used = 0;
    };
    // What is kept of a mount from sample to sample.
    struct Kept {
        FsEntry entry;
        Helper::Ticket ticket = 0;
        std::deque<Past> pasts; // the oldest first
        uint64_t seen = 0;      // number of the last sample that had it
    };
    Root root;
    HeldFile mountinfo;
    Contents text;
    Helper& helper;
    std::map<uint64_t, Kept> kept; // by mount id
    std::vector<uint64_t> order;   // mount ids, in their order
    uint64_t samples = 0;
    bool readOnce = false; // `order` is that of the mounts

    void readMounts();
    void remember(Kept& kept, int64_t now);
    void take(Kept& kept);

public:
    FsSampler(const Root& where, Helper& asked)
        : root(where), mountinfo(where, "/proc/self/mountinfo"), helper(asked) {}
    void sample(FsSample& now);
    uint64_t notAllowed() const { return text.denied; }
};

// Who writes the log: a thread of its own, so that a slow disk does not hold up the samples, or the caller itself.
#pragma once

#include "wyrt/logtarget.h"

#include <cstdint>
#include <memory>

class Writer {
public:
    Writer() = default;
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    virtual ~Writer() = default;

    // Whether the next piece would be taken: there is room, and what came before it could be written. Where it is not,
    // no interval is made: the next one is longer, and nothing is lost.
    virtual bool ready() = 0;
    // A piece, when ready. It is written as a whole, sooner or later.
    virtual void put(Piece piece) = 0;
    // Nobody reads the log any more, or it cannot be written ever again (error() tells why).
    virtual bool isOver() = 0;
    virtual int error() = 0;
    // Somebody has removed the log's file: the next piece should have a head, for a new one.
    virtual bool isGone() = 0;
    // Writes what is left. False: some of it could not be written; error() tells why.
    virtual bool finish() = 0;
};

// Writes at once, in the thread that puts.
std::unique_ptr<Writer> directWriter(std::unique_ptr<LogTarget> target);
// Writes in a thread, which alone waits for the disk. At the most `sync_us` (microseconds) pass until what was written
// is on the disk, as long as the disk takes no more than half of that.
std::unique_ptr<Writer> threadWriter(std::unique_ptr<LogTarget> target, int64_t sync_us = 10000000);

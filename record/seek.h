// Finds a span in a plain log without reading all of it. What is found is where to read from; the reader still checks
// each interval.
#pragma once

#include "record/log.h"

#include <cstdint>
#include <functional>
#include <optional>

// Gives at most `size` bytes from this position of the log on; 0: there are none.
using ReadAt = std::function<size_t(uint64_t at, char* to, size_t size)>;

// Where a log has the intervals of a span, and the head before them.
struct Part {
    uint64_t head = 0, begin = 0, end = 0;
};

// For a log with one head, under which times never fall: a position before which no interval ends after `since`. It is
// the end of an interval, or `from`, and seldom further than a few hundred kilobytes before that interval. By
// bisection, with intervals whose checksum is right.
uint64_t bisected(const ReadAt& read, uint64_t from, uint64_t size, int64_t since_ms);

// For any log: goes from one END to the one before it, which its length tells, to the start. None: the log is damaged
// or cut short, and has to be read as a whole.
std::optional<Part> walked(const ReadAt& read, uint64_t size, const Bounds& bounds);

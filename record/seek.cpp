#include "record/seek.h"

#include <algorithm>
#include <string_view>

// --- By bisection

// The first whole interval from this position on. Its reader begins in the middle of another one, which then counts as
// damaged. False: there is none.
static bool wholeAfter(const ReadAt& read, uint64_t at, uint64_t before, Frame& frame, int64_t& time_ms,
                       uint64_t& end) {
    uint64_t next = at;
    LogFrames frames([&](char* to, size_t size) {
        const size_t n = read(next, to, size);
        return next += n, n;
    });
    frames.goTo(at);
    while (frames.next(frame) == LogFrames::Found::Frame) {
        if (frame.at >= before) return false;
        if (!frame.good || frame.isHead) continue;
        time_ms = frame.ending.time.epoch_ms;
        end = frame.at + frame.text.size() + frame.end.size();
        return true;
    }
    return false;
}

uint64_t bisected(const ReadAt& read, uint64_t from, uint64_t size, int64_t since_ms) {
    constexpr uint64_t Near = uint64_t{1} << 18; // is read as fast as it is searched
    uint64_t low = from, high = size;
    Frame frame;
    while (high > low && high - low > Near) {
        const uint64_t middle = low + (high - low) / 2;
        int64_t time_ms = 0;
        uint64_t end = 0;
        if (wholeAfter(read, middle, high, frame, time_ms, end) && time_ms <= since_ms) low = std::max(low, end);
        else high = middle;
    }
    return low;
}

// --- From END to END

namespace {
// The END line that ends at a position.
struct EndLine {
    Ending ending;
    uint64_t start = 0; // of the line
};
} // namespace

static std::optional<EndLine> endBefore(const ReadAt& read, uint64_t at) {
    constexpr size_t Longest = 256; // an END line and the newline before it
    char buffer[Longest];
    const size_t size = static_cast<size_t>(std::min<uint64_t>(at, Longest));
    if (size == 0 || read(at - size, buffer, size) != size) return {};
    const std::string_view text(buffer, size);
    if (text.back() != '\n') return {};
    const auto newline = text.find_last_of('\n', size - 2);
    if (size < 2 || newline == text.npos) return {};
    const auto line = text.substr(newline + 1, size - newline - 2);
    EndLine found;
    found.start = at - line.size() - 1;
    if (!parseEnding(line, found.ending) || found.ending.bytes > found.start) return {};
    return found;
}

// Whether an interval can follow another one: by their numbers nothing is between them.
static bool follows(const Ending& before, const Ending& after) {
    if (before.number == 0 || after.number == 0) return true; // one of them is a head
    return before.number + 1 == after.number && before.time.epoch_ms <= after.time.epoch_ms;
}

std::optional<Part> walked(const ReadAt& read, uint64_t size, const Bounds& bounds) {
    Part part{0, size, size};
    bool found = false, headed = false;
    std::optional<Ending> after;
    for (uint64_t at = size; at > 0;) {
        const auto here = endBefore(read, at);
        if (!here || (after && !follows(here->ending, *after))) return {};
        after = here->ending;
        const uint64_t start = here->start - here->ending.bytes;
        if (here->ending.number == 0) {
            if (found && !headed) part.head = start, headed = true;
        } else if (bounds.has(here->ending.time)) {
            if (!found) part.end = at, found = true;
            part.begin = start, headed = false;
        }
        at = start;
    }
    if (!found) return Part{0, 0, 0};
    return headed ? std::optional(part) : std::nullopt;
}

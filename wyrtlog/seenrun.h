// Which intervals of a recorder's run were read. Numbers tell: after the clock was set back, several files that are
// read in order of time have them in another order than the recorder that writes them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct SeenRun {
    static constexpr size_t MostSpans = 64;
    struct Span {
        uint64_t first = 0, last = 0;
    };
    std::string run;               // its identity
    int64_t newest_ms = INT64_MIN; // latest end of an interval
    std::vector<Span> numbers;     // ascending, with at least one number between two of them

    // A number that comes again with a later time is another interval: a machine was put back to an earlier state.
    bool has(uint64_t number, int64_t end_ms) const;
    // Of too many spans the first two become one: what is missing between them is damaged or gone.
    void add(uint64_t number, int64_t end_ms);
};

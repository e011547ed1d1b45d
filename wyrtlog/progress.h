// A line on standard error while a command reads for long: how far it has come. Only on a terminal, and wiped away at
// the end.
#pragma once

#include "record/moment.h"
#include "wyrtlog/options.h"

#include <cstdint>

// Whether it is a command that says nothing until its end, or writes elsewhere, and a person waits for it.
bool showsProgress(const Asked& asked);

class Progress {
    static constexpr int64_t Patience = 1000000, Pace = 200000; // microseconds: before the first line; between two
    int64_t next_us;
    bool on, shown = false;

public:
    explicit Progress(bool wanted);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() { wipe(); }
    // Intervals up to this time, and so many bytes of logs, have been read.
    void at(Moment time, uint64_t bytes);
    // Before something else is written to standard error.
    void wipe();
};

// One log that is being read.
#pragma once

#include "base/infile.h"
#include "record/log.h"
#include "wyrtlog/follow.h"
#include "wyrtlog/logfiles.h"
#include "wyrtlog/logs.h"
#include "wyrtlog/unpack.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

// A log that is read up to its next interval, which waits for its turn.
class OpenLog {
    LogPath log;
    Bounds bounds;
    InFile file;
    Unpacker unpacker{[this](char* to, size_t size) { return read(to, size); }};
    Follower* follower = nullptr;
    bool begun = false;
    bool anyFrame = false;                                // a head or an interval was found
    std::optional<uint64_t> jump;                         // where to go on after the next head
    uint64_t stop = std::numeric_limits<uint64_t>::max(); // nothing from there on is in the span

    size_t read(char* to, size_t size);
    void goTo(uint64_t at);
    void goToSpan();

public:
    LogReader reader{[this](char* to, size_t size) { return unpacker.read(to, size); }};
    LogReader::Found found = LogReader::Found::End;
    Interval interval;
    uint64_t number = 0;         // no two open logs have the same
    int64_t time_ms = INT64_MIN; // when its turn is; what has no time of its own comes as soon as it is found

    OpenLog(LogPath path, const Wanted& wanted);
    // False: errno has the reason.
    bool open() { return log.path == "-" ? (file.openStandard(), true) : file.open(log.path); }
    // Waits at its end for more, until there is another log.
    void follow(Follower& by) { follower = &by; }
    const std::string& path() const { return log.path; }
    bool isOver() const { return found == LogReader::Found::Torn || found == LogReader::Found::End; }
    // Reads on to its next interval, head or end.
    void advance();
    // Whether it has been read to its end, and is something else than a log.
    bool isNoLog() const;
    // Why it could not be read to its end; empty: it could.
    std::string failure() const;
};

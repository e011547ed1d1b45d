// The log: lines that grep, awk and any CSV reader understand.
//
//     #wyrt,2,1.2.0,db7,<boot id>,<run id>
//     #DISK,time,secs,name,dev,reads,...
//     #DISK:role,time,elapsed:s,id,id,amount,...
//     DISK,2026-11-21T14:05:10.000+01:00,2.000137,sdb,8:16,24,...
//     END,2026-11-21T14:05:10.000+01:00,2.000137,31,212,48211,9f3a01c4
#pragma once

#include "record/frames.h"
#include "record/host.h"
#include "record/interval.h"
#include "record/rowplan.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <vector>

inline constexpr int LogFormat = 2;

// Who wrote a log, and where: the fields of its first line.
struct LogHead {
    std::string version; // of the program
    std::string host;
    std::string boot, run; // identities of this boot and of this run of the program
};

// Writes heads and intervals as text. A head comes first; the caller writes another one when the clock was set back, so
// that the times after one head never decrease.
class LogWriter {
    void end(Moment time, int64_t elapsed_us, size_t from, uint64_t interval, std::string& out) const;

public:
    // Appends the head with its own END, which has the number 0.
    void head(const LogHead& head, const ViewRow& view, Moment time, std::string& out);
    // Appends a whole interval, with its number.
    void interval(const Interval& interval, std::string& out);
};

// A part of a log: the intervals that end in it.
struct Bounds {
    int64_t since_ms = std::numeric_limits<int64_t>::min(), until_ms = std::numeric_limits<int64_t>::max();
    bool has(Moment time) const { return time.epoch_ms > since_ms && time.epoch_ms <= until_ms; }
};

// Reads a log from start to end, one interval at a time. It needs memory for one interval, and less than 64 MB for any
// log.
class LogReader {
public:
    using Read = LogFrames::Read;
    explicit LogReader(Read source) : frames(std::move(source)) {}

    enum class Found {
        Head,     // head() and view() have changed
        Interval, // a whole one; interval.damaged is set when its checksum is wrong
        Torn,     // the log ends in the middle of an interval
        End
    };
    // Fills `interval` when it finds one. Its rows are used again, so pass the same one each time. A damaged interval
    // is filled as far as it can be read.
    Found next(Interval& interval);

    // Without rows: intervals keep their time, number and checksum, and who wants their lines takes text(). That is
    // much faster. Heads are read as ever.
    void leaveOutRows() { wantRows = false; }
    // The lines of the interval or head that was found last, without its END. Valid until the next call of next().
    std::string_view text() const { return frame.text; }
    // The lines of the head by their first word without '#', "DISK" and "DISK:role", as cells.
    const std::map<std::string, std::vector<std::string>, std::less<>>& headLines() const { return headers; }
    // Intervals outside are passed over without taking them apart; damaged ones when their END says so. `ordered`: the
    // times of this log never fall, so it ends with the first one after the bounds.
    void only(const Bounds& wanted, bool ordered = false) { bounds = wanted, endsAfter = ordered; }
    // Lengths are checked, and not the sums.
    void trustLengths() { frames.trustLengths(); }
    // The source has been moved to this position of the log, where an interval or a head begins.
    void goTo(uint64_t at) { frames.goTo(at); }

    const LogHead& head() const { return logHead; }
    const ViewRow& view() const { return logView; }
    // What the fields of its lines mean is then uncertain. True before there is a head.
    bool headDamaged() const { return badHead; }
    uint64_t bytesRead() const { return frames.bytesRead(); }
    // Where what comes next begins in the log.
    uint64_t position() const { return frames.nextAt(); }

private:
    LogFrames frames;
    Frame frame;
    Bounds bounds;
    bool wantRows = true, endsAfter = false;
    LogHead logHead;
    ViewRow logView;
    bool badHead = true;                                                  // until there is one
    std::map<std::string, std::vector<std::string>, std::less<>> headers; // by first word
    std::vector<RowPlan> plans;                                           // by kind, in the order of eachKind
    std::vector<size_t> filled;                                           // rows of this interval, by kind
    size_t rowBytes = 0;                                                  // that they take, with their texts

    void takeHead();
    void takeHeadLine(std::string_view line, size_t& cells);
    bool takeView(std::string_view line);
    template <typename Kind> std::vector<size_t> placesIn(const Kind& kind) const;
    bool takeLines(Interval& interval);
    bool takeRows(const LineRun& run, Interval& interval);
};

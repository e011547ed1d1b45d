// The log: lines that grep, awk and any CSV reader understand.
//
//     #wyrt,2,1.2.0,db7,<boot id>,<run id>
//     #DISK,time,secs,name,dev,reads,...
//     #DISK:role,time,elapsed:s,id,id,amount,...
//     DISK,2026-11-21T14:05:10.000+01:00,2.000137,sdb,8:16,24,...
//     END,2026-11-21T14:05:10.000+01:00,2.000137,31,212,48211,9f3a01c4
#pragma once

#include "record/host.h"
#include "record/interval.h"

#include <cstddef>
#include <cstdint>
#include <functional>
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

// Writes heads and intervals as text. A head comes first, and a new head when the clock was set back. So the times
// after one head never decrease.
class LogWriter {
    void end(Moment time, int64_t elapsed_us, size_t from, uint64_t interval, std::string& out) const;

public:
    // Appends the head with its own END, which has the number 0.
    void head(const LogHead& head, const ViewRow& view, Moment time, std::string& out);
    // Appends a whole interval. The writer numbers the intervals from 1.
    void interval(const Interval& interval, std::string& out);
};

// The share of a log that each kind takes.
struct KindUse {
    uint64_t records = 0, bytes = 0;
};

// Reads a log from start to end, one interval at a time. It needs memory for one interval.
class LogReader {
public:
    // Gives at most `size` bytes to `to`; 0: there are no more.
    using Read = std::function<size_t(char* to, size_t size)>;
    explicit LogReader(Read source) : read(std::move(source)) {}

    enum class Found {
        Head,     // head() and view() have changed
        Interval, // a whole one; interval.damaged is set when its checksum is wrong
        Torn,     // the log ends in the middle of an interval
        End
    };
    // Fills `interval` when it finds one. A damaged interval is filled as far as it can be read.
    Found next(Interval& interval);
    // Without rows: intervals keep their time, number and checksum, and who wants their lines takes text(). That is
    // much faster. Heads are read as ever.
    void leaveOutRows() { wantRows = false; }
    // The lines of the interval or head that was found last, without its END. Valid until the next call of next().
    std::string_view text() const { return std::string_view(buffer).substr(textFrom, textSize); }
    // The lines of the head by their first word without '#', "DISK" and "DISK:role", as cells.
    const std::map<std::string, std::vector<std::string>, std::less<>>& headLines() const { return headers; }

    const LogHead& head() const { return logHead; }
    const ViewRow& view() const { return logView; }
    // What the fields of its lines mean is then uncertain. True before there is a head.
    bool headDamaged() const { return badHead; }
    // The sizes of everything read so far, including kinds that this program does not know.
    const std::map<std::string, KindUse, std::less<>>& uses() const { return kindUses; }
    uint64_t bytesRead() const { return total; }

private:
    struct Ending { // the fields of an END line
        Moment time;
        int64_t elapsed_us = 0;
        uint64_t number = 0, records = 0, bytes = 0;
        uint32_t sum = 0;
        size_t upToSum = 0; // number of its bytes that the checksum covers
    };

    Read read;
    std::string buffer;                // from the end of the last interval on
    size_t begin = 0, scanned = 0;     // its position; the position of the line to examine next
    size_t textFrom = 0, textSize = 0; // of what was found last
    bool atEnd = false, wantRows = true;
    uint64_t total = 0;
    LogHead logHead;
    ViewRow logView;
    bool badHead = true;                                                  // until there is one
    std::map<std::string, std::vector<std::string>, std::less<>> headers; // by first word
    std::vector<std::vector<size_t>> places;                              // by kind, in the order of eachKind
    std::map<std::string, KindUse, std::less<>> kindUses;
    std::vector<std::string_view> cells; // working space

    bool fill();
    bool nextLine(std::string_view& line);
    bool parseEnding(std::string_view line, Ending& ending);
    void split(std::string_view line);
    bool takeLines(std::string_view text, Interval& interval, bool isHead);
    void takeHeadLine();
    void setPlaces();
    Found finish(size_t from, size_t to, const Ending* ending, bool good, Interval& interval);
};

// Classic logs (`wyrt -Z`) for export: each record of theirs becomes a line as those of a log of today, with sheets to
// go with it.
#pragma once

#include "record/classic/reader.h"
#include "record/moment.h"
#include "wyrtlog/sheets.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// Whether the first bytes of a log are those of a classic one.
bool isClassicLog(std::string_view start);

// A sheet for each kind. Words that are no names get underscores: "info,Memory(MB)" is INFO_MEMORY_MB.
std::vector<Sheet> classicSheets();

// Reads a log piece by piece and gives its intervals: what stands between two TIME records.
class ClassicLog {
public:
    using Read = std::function<size_t(char* to, size_t size)>;
    // An interval: its lines, with the time and the seconds since the one before. False: no more is wanted.
    using OnInterval = std::function<bool(Moment time, int64_t elapsed_us, uint64_t number, std::string_view lines)>;

private:
    std::map<const Kind*, std::string> tags;
    classic::Record record;
    std::string rows; // of the interval at hand, without their times: tag, NUL, cells, newline
    std::string lines;
    Moment time;
    int64_t elapsed_us = 0;
    uint64_t number = 0, damagedPieces = 0;
    bool timed = false; // a TIME record has begun the interval
    std::string hostName;

    bool take(std::string_view piece, const OnInterval& onInterval);
    bool close(const OnInterval& onInterval);
    void addRow();

public:
    ClassicLog();
    // Returns whether the caller wanted all of it.
    bool read(const Read& source, const OnInterval& onInterval);
    // As far as the log has told.
    const std::string& host() const { return hostName; }
    uint64_t damaged() const { return damagedPieces; }
};

// The logs that a command reads, as one: in order of time, whatever their names and order, and what several of them
// have once.
#pragma once

#include "record/log.h"
#include "wyrtlog/options.h"
#include "wyrtlog/watcher.h"

#include <functional>
#include <string>

// Calls f(reader, found, interval) for all that the logs hold, the Torn or End of each included; f says whether to go
// on. Each log's Head precedes its intervals; where logs overlap in time, their intervals take turns. Returns an exit
// status: a log that cannot be read is a line on standard error, and the others are read.
using OnFound = std::function<bool(const LogReader& reader, LogReader::Found found, Interval& interval)>;
enum class Want { Rows, Lines };    // Lines: LogReader::text() instead of rows
enum class Check { Sums, Lengths }; // Lengths: checksums are not looked at

// What is read of the logs.
struct Wanted {
    Want want = Want::Rows;
    Bounds bounds{};     // only intervals that end in it
    bool follow = false; // of the newest log, what comes later, too, until SIGINT or SIGTERM
    Check check = Check::Sums;
    Watcher* watcher = nullptr;
};
int eachFound(const Asked& asked, const OnFound& onFound, const Wanted& wanted = {});

// What counters have reached, as text: a program that is started again loads it and goes on with the same counters.
//
//     #wyrt-totals,1,influx command
//     HOST,db7,1795266310000,1795180000000
//     RUN,5d2f...,1795266310000,1-1230,1232-1234
//     THING,DISK,0,0,1795266310000,1795266300000,host=db7\x2Cdisk=sda,,reads=1200,read_bytes=4915200
//     END,2,9f3a01c4
//
// A host's runs follow it, the one that was counted last comes last. The cell after the number of a thing's host: 0, 1
// of an info, 2 of a thing that the host's last run has not shown.
#pragma once

#include "wyrtlog/seenrun.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct SavedHost {
    std::string name;
    int64_t time_ms = 0; // end of the last interval that was counted
    int64_t over_ms = 0; // intervals of unknown runs that ended by then were counted, or were not wanted
    std::vector<SeenRun> runs;
};
struct SavedThing {
    std::string tag; // of its kind
    size_t host = 0; // index
    bool info = false;
    bool alive = true;                // the run that was counted last has shown it
    int64_t last_ms = 0, seen_ms = 0; // of its last point, of its last record
    std::string key;
    std::string of; // of an info the key of its thing
    std::vector<std::pair<std::string, uint64_t>> totals;
};
struct Totals {
    std::string of; // which series these are: totals of others are of no use
    std::vector<SavedHost> hosts;
    std::vector<SavedThing> things;
};

// A restart reads so much again before the last interval: the clock may have been set back meanwhile. What was counted
// is known by its number.
inline constexpr int64_t ReadAgain = 3600000; // milliseconds
// Runs of one host that are known; those that were counted longest ago are forgotten.
inline constexpr size_t MostRuns = 64;
// A longer text is neither read nor kept.
inline constexpr size_t LongestTotals = size_t{1} << 27;
std::string totalsText(const Totals& totals);
// The same piece by piece: the hosts, then the things.
class TotalsText {
    std::string text;
    size_t lines = 0;

public:
    explicit TotalsText(std::string_view of);
    void add(const SavedHost& host);
    void add(const SavedThing& thing);
    // All of it; nothing can be added any more.
    std::string finish();
};
// None: the text is damaged, cut short, or of another program, or has times that no log has.
std::optional<Totals> parseTotals(std::string_view text);

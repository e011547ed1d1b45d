// What counters have reached, as text: a program that is started again loads it and goes on with the same counters.
//
//     #wyrt-totals,1,influx command
//     HOST,db7,5d2f...,1234,1795266310000
//     THING,DISK,0,0,1795266310000,1795266300000,host=db7\x2Cdisk=sda,,reads=1200,read_bytes=4915200
//     END,2,9f3a01c4
//
// The cell after the host's number: 0, 1 of an info, 2 of a thing that the host's last run has not shown.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct SavedHost {
    std::string name, run;
    uint64_t number = 0; // of the last interval of this run that was counted
    int64_t time_ms = 0; // its end
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

// A longer text is neither read nor kept.
inline constexpr size_t LongestTotals = size_t{1} << 27;
std::string totalsText(const Totals& totals);
// None: the text is damaged, cut short, or of another program, or has times that no log has.
std::optional<Totals> parseTotals(std::string_view text);

// What the command line of the new form asks for. Made once, passed to whoever needs it.
#pragma once

#include "base/color.h"
#include "record/host.h"
#include "wyrt/retention.h"

#include <cstdint>
#include <optional>
#include <string>

struct Settings {
    ViewRow view;                   // areas, interval, rows, sort, filters: the head of a log has them
    std::optional<uint64_t> count;  // of intervals; none: until it is told to end
    std::string save;               // live: the log's file beside the tables; empty: none
    std::string output;             // where tables or log go instead of standard output; empty: there
    std::string root;               // the directory with another machine's /proc, /sys, /run; empty: this machine
    std::string dir;                // record: the folder of logs; empty: one log
    std::string config;             // the folder with the recorder's options; empty: the usual one
    KeepLimits keep;                // of the folder
    std::optional<int64_t> sync_us; // so much may be lost at the most when the machine goes down
    Color color = Color::Auto;
    bool scroll = false; // tables are appended on a terminal, too
};

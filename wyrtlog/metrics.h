// What goes to stores of time series, and by which names: one list for all formats and commands that feed such stores.
//
//     wyrt_disk_read_bytes_total{host="db7",disk="sda"}
//
// Names are made of the kind and the field, in base units: bytes, seconds, ratios. Every thing is a series of its own,
// so only what is bounded is a label. Processes are added up by command, user, unit or container, the largest by
// themselves and the rest as "others".
#pragma once

#include "wyrtlog/sheets.h"

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

inline constexpr std::string_view Others = "others";

struct MetricLabel {
    std::string_view field, label;
};

struct MetricKind {
    std::string_view tag, prefix;            // DISK, disk
    std::array<MetricLabel, 5> labels;       // what a thing is; unused ones are empty
    std::array<std::string_view, 4> details; // fields that an info metric has, because they may change
    bool summed = false;                     // several records have the same labels: amounts only, added up
    size_t most = 1000;                      // things of a host
    std::array<std::string_view, 3> ranks{}; // of what is summed: the largest by one of these have series of their own
    bool passing = false;                    // its levels are those of one interval, added up, and nothing stays
};

// How processes are added up, and how many of what is added up have series of their own.
struct SeriesChoice {
    std::string by = "command"; // command, user, unit or container
    size_t top = 200;           // a thing gets a series when it is among so many largest of an interval; it keeps it
    bool rows = false;          // a series for each process and each thread instead
    bool endless = false;       // it goes on for ever: what was not seen for long makes room for others
};
// Empty: the word is one that `by` can have.
std::string whyNotBy(std::string_view word);
// Null: the kind does not go to such stores.
const MetricKind* metricKind(std::string_view tag, const SeriesChoice& choice = {});
std::span<const MetricKind> metricKinds();

struct Metric {
    std::string name;     // wyrt_disk_read_bytes, without _total
    std::string unit;     // bytes, seconds, ratio, hertz; empty: none
    bool counter = false; // else a level
    bool micro = false;   // of a counter: it is in millionths
    double factor = 1;    // of a level
    size_t column = 0;    // of the sheet
    size_t ownName = 0;   // where its name begins that is not the kind's: read_bytes
};
// None: the column goes to no store.
std::optional<Metric> metricOf(const MetricKind& kind, const SheetColumn& column);

// At most so many bytes of a text are a label.
inline constexpr size_t LongestLabel = 200;
std::string_view cutLabel(std::string_view text);

// A counter in its unit: 1500000 millionths are 1.5.
void appendCounter(uint64_t value, bool micro, std::string& out);
void appendLevel(double value, std::string& out);

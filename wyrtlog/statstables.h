// The tables of `wyrt stats`: figures of things, and who used what.
#pragma once

#include "view/page.h"
#include "wyrtlog/consumers.h"
#include "wyrtlog/tally.h"

#include <string_view>
#include <vector>

// Whether the times of a span are shown with their day, because it has several.
bool needDays(Moment from, Moment to);
// What a kind had to show: a table, or no value other than 0, or none at all.
enum class Seen { Nothing, Zeros, Table };
// The figures of the `most` things with the largest shares. Nothing is shown where there is no table.
Seen showKind(const Tally::KindTally& kind, size_t most, bool withDay, Page& page);

// A table of consumers, by the sum of some amounts.
struct Usage {
    std::string_view title;
    std::vector<Used> what;
    bool time; // microseconds; else bytes
};
// The `most` largest, as sums, over the span's seconds, and as shares of all; the others are one line. Nothing is shown
// where nothing was used.
void showUsage(const Consumers& consumers, const Usage& usage, std::string_view by, size_t most, double seconds,
               Page& page);

// Which processes a table has, and in which order.
#pragma once

#include "record/interval.h"
#include "view/filter.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// What processes can be sorted by.
std::span<const std::string_view> processSorts();

// A line of the table.
struct ProcLine {
    const ProcRow* row = nullptr;
    size_t depth = 0;      // below so many others of the tree
    uint64_t count = 1;    // of processes that are added up in it
    std::string_view name; // what they have in common
};

// The processes to show, at most `most`; the culprit of a finding, which is always one of them, comes first.
std::vector<ProcLine> flatLines(const Interval& interval, const Filter& filter, std::string_view sort, size_t most,
                                const ProcRow* culprit);
// The same processes and those above them, each below its parent.
std::vector<ProcLine> treeLines(const Interval& interval, std::span<const ProcLine> flat);
// Sums over all processes with the same command, user or unit. `sums` keeps the rows that the lines point to.
std::vector<ProcLine> sumLines(const Interval& interval, const Filter& filter, std::string_view by,
                               std::string_view sort, size_t most, std::vector<ProcRow>& sums);

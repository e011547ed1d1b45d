// The one list of areas: their words on the command line, what they show, and how.
#pragma once

#include "record/interval.h"
#include "record/log.h"
#include "view/page.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

class TableExtremes;

// The options of the tables, from the command line or from a log's head.
struct View {
    const LogHead& head;
    const ViewRow& asked;
    const TableExtremes* extremes = nullptr; // of the intervals that a sum is made of
    size_t rowsOr(size_t most) const { return asked.rows ? static_cast<size_t>(*asked.rows) : most; }
};

struct Area {
    std::string_view word;    // "disk"
    std::string_view help;    // one line
    std::string_view sources; // the kernel files that the area is read from, for `wyrt check`
    // What --sort can be here, the usual one first; null: the order is always the same.
    std::span<const std::string_view> (*sorts)();
    bool byDefault; // of `live` without areas
    void (*show)(const Interval& interval, const View& view, Page& page);
};

// In the order in which they are shown.
std::span<const Area> areas();
// Null when there is no area of that word.
const Area* findArea(std::string_view word);
// What --sort can be when these areas (words with a blank between them) are shown, each word once.
std::vector<std::string_view> sortWords(std::string_view shown);
// Whether a list of words is that of `live` without areas, whose tables begin with a line of findings.
bool isUsual(std::string_view list);
// Whether the tables of these areas show findings.
bool needsFindings(std::string_view list);

// The first line of every interval: host, time, number, elapsed time, size of the machine, own cost.
void showTop(const Interval& interval, const View& view, Page& page);
// A whole interval: the first line, then the areas of view.asked in the list's order, and an empty line.
void showInterval(const Interval& interval, const View& view, Page& page);

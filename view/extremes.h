// The cells of tables with one row for the machine, as numbers, and the least and the largest of them in the intervals
// that a sum is made of.
#pragma once

#include "record/interval.h"
#include "view/page.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct CellValue {
    std::optional<double> value; // none: "-"
    std::string (*text)(double) = nullptr;
    Tone aboveZero = Tone::Plain;
};
using CellValues = std::vector<CellValue>;

// The same values as rateText, speedText and percentText show.
CellValue rateFigure(const std::optional<uint64_t>& amount, double seconds);
CellValue speedFigure(const std::optional<uint64_t>& bytes, double seconds);
CellValue percentFigure(const std::optional<double>& part, double whole);
// With one decimal.
CellValue decimalFigure(const std::optional<double>& value);
CellValue levelFigure(const std::optional<uint64_t>& level, std::string (*text)(double));

void figureCells(std::span<const CellValue> figures, Table& table);

class TableExtremes {
    struct Range {
        CellValues least, most;
    };
    std::vector<Range> ranges; // by table
    size_t count = 0;          // intervals

public:
    // Adds one of the intervals.
    void add(const Interval& interval);
    void clear();
    // Two rows, "min" and "max", for the table of this title; the cells that follow the figures stay empty. No rows
    // when there are fewer than two intervals.
    void rows(std::string_view title, Table& table, size_t emptyCells = 0) const;
};

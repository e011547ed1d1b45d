// Figures over a span: for each figure of each thing its minimum, mean, maximum with its time, and 95th percentile.
#pragma once

#include "wyrtlog/format.h"

#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

// How often values of about a size occurred: 16 classes for each power of two, so what it gives is 3 % off at the most.
class Histogram {
    static constexpr unsigned Shift = 48; // of the bits of a double: its exponent and the first 4 bits of the fraction
    std::vector<uint32_t> counts;         // of classes from `first` on
    uint32_t first = 0;

public:
    // Values above 0. Returns the bytes that it has grown by.
    size_t add(double value);
    // The value that `rank` of the values do not exceed.
    double at(uint64_t rank) const;
};

// Whether a column has a figure: an amount or a level, and no yes or no.
bool isFigure(const SheetColumn& column);

struct Figure {
    uint64_t count = 0, positive = 0; // intervals with a value; of them with one above 0
    double sum = 0;                   // of amounts, or of levels
    double seconds = 0;               // of amounts: their time
    double least = std::numeric_limits<double>::infinity(), most = -std::numeric_limits<double>::infinity();
    Moment when; // of the maximum
    bool negative = false;
    Histogram histogram;
};

struct Summary { // what is shown of a figure
    double mean = 0, least = 0, most = 0;
    std::optional<double> p95; // none: there are negative values, or too many figures
    Moment when;
};

class Tally {
public:
    struct Thing {
        std::string key;             // the cells of its identity, each with a comma
        std::string name;            // for people; empty: the machine
        uint64_t records = 0;        // intervals in which it had a record
        uint64_t since = 0;          // intervals of the kind before it was seen
        std::vector<Figure> figures; // by column of the sheet
    };
    struct KindTally {
        std::string tag;
        std::vector<SheetColumn> columns;
        std::vector<size_t> used; // columns that are figures
        std::vector<Thing> things;
        std::map<std::string, size_t, std::less<>> byKey;
        size_t guess = 0;       // of the next record's thing
        uint64_t intervals = 0; // in which the kind was sampled
        double seconds = 0;     // of them
        uint64_t left = 0;      // records of things that found no room
        bool seen = false;      // since the head: then an interval without records is one in which all were idle
    };

private:
    struct Pending {
        uint32_t kind, thing, column;
        double amount, value; // value: a second, or the level
        double seconds;
    };
    std::vector<KindTally> kinds; // by sheet
    std::vector<Pending> pending; // of the interval at hand
    size_t bytes = 0;             // of all histograms
    double seconds = 0;           // of the interval
    std::string key;              // working space

    size_t thingOf(KindTally& kind, const Sheet& sheet, const Cells& cells);
    void take(const Pending& one, Moment time);

public:
    // `wanted`: which columns of a kind are figures that are wanted.
    void head(const Sheets& sheets, const std::function<bool(const Sheet&, const SheetColumn&)>& wanted);
    bool wants(const Sheet& sheet) const { return sheet.number < kinds.size() && !kinds[sheet.number].used.empty(); }
    void begin(const Interval& interval);
    // False: a cell does not fit its field.
    bool line(const Sheet& sheet, const Cells& cells, int64_t elapsed_us);
    void end(bool keep, Moment time);

    const std::vector<KindTally>& all() const { return kinds; }
    // None: there was no value.
    static std::optional<Summary> summaryOf(const KindTally& kind, const Thing& thing, size_t column);
};

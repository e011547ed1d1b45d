// Several intervals as one: amounts are added up by what they are about, levels and texts are the last ones. Sums of
// sums equal the sum of the whole.
#pragma once

#include "record/interval.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

class IntervalSum {
    // Finds the row of a thing.
    struct Index {
        std::unordered_map<std::string, size_t> rows; // by identity
        std::vector<const std::string*> names;        // by row
        size_t next = 0;                              // rows mostly come in the same order again
        bool seen = false;                            // an interval had lines of the kind
        int64_t before_us = 0;                        // elapsed time of the intervals before the first one with lines
        static constexpr size_t None = static_cast<size_t>(-1);
        size_t find(const std::string& identity);
        void add(const std::string& identity);
        void clear();
    };
    std::vector<Index> indexes; // by kind
    Interval sum;
    uint64_t count = 0;
    std::string name; // working space

    template <typename Kind, typename R>
    void addRows(const Kind& kind, const Rows<R>& rows, int64_t elapsed_us, Rows<R>& to, Index& index);
    template <typename Kind, typename R> void limit(const Kind& kind, Rows<R>& rows, Index& index);

public:
    IntervalSum();
    void add(const Interval& interval);
    // How many there are in it.
    uint64_t intervals() const { return count; }
    // The time is that of the last one. What was under pressure in each is left out: it is judged anew.
    Interval& result();
    void clear();
    // Larger sums keep the rows that are largest by a figure, and the sum of the others.
    static constexpr size_t MostBytes = size_t{4} << 20; // of rows of one kind
};

// What happened when: findings, gaps, restarts.
#pragma once

#include "why/span.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

struct Stretch {
    int64_t from_ms = 0, to_ms = 0;
};

// A point in time that the charts mark.
struct Mark {
    int64_t time_ms = 0;
    std::string text; // "restart"
};

// A finding of the whole span.
struct Incident {
    WhyRow why;                                // with rank
    std::vector<Stretch> stretches;            // when it was one
    int64_t worst_ms = 0;                      // end of the interval that was worst
    std::shared_ptr<const std::string> tables; // of that interval
};

class Events {
    struct Entry {
        std::vector<Stretch> stretches;
        double severity = 0;
        int64_t worst_ms = 0;
        std::shared_ptr<const std::string> tables;
    };
    Span span;
    std::map<std::pair<std::string, std::string>, Entry> entries; // by resource and object, as those of `span`
    std::vector<Stretch> gapsFound;
    std::vector<Mark> marksFound;
    std::string boot, run;
    int64_t from_ms = 0, last_ms = 0;
    bool behind = false; // the clock was set back, and has not come to where it was yet
    uint64_t count = 0;

public:
    // An interval that has been judged, and its end, which may differ from its own where the clock was set back.
    // `tables` makes the text of its tables.
    void add(const Interval& interval, int64_t time_ms, const std::string& boot, const std::string& run,
             const std::function<std::string()>& tables);
    uint64_t leftOut() const { return span.leftOut(); } // findings
    // The worst first. `interval` gets the rows that their texts are made from.
    std::vector<Incident> findings(Interval& interval) const;
    const std::vector<Stretch>& gaps() const { return gapsFound; }
    const std::vector<Mark>& marks() const { return marksFound; }
    uint64_t intervals() const { return count; }
    int64_t from() const { return from_ms; } // the beginning of the first interval
    int64_t to() const { return last_ms; }
};

// The findings of several intervals as one: the amounts of culprits are added up, and the worst interval has the
// figures.
#pragma once

#include "why/byfinding.h"
#include "why/findings.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

class Span {
    // Who it is, in every interval.
    using Identity =
        std::tuple<uint64_t, uint64_t, std::string, std::string, std::string>; // pid, start, role, name, group
    struct Doer {
        WhoRow row; // of the interval in which it did most
        double amount = 0;
        uint64_t most = 0;
        bool exact = true;
    };
    struct Entry {
        WhyRow worst;
        std::vector<SufferRow> sufferers; // of the worst interval
        std::optional<CgroupRow> group;   // that it is about: its name
        Moment since, until, worstAt;
        uint64_t intervals = 0, lasted_us = 0;
        uint64_t last = 0;            // the interval that had it last, counted from 1
        double total = 0, weight = 0; // weight: severity times seconds
        std::string rest;             // what nobody explains is called so
        std::map<Identity, Doer> doers;
        uint64_t gone = 0; // doers that were given up for others who did more
        double goneAmount = 0;
        bool goneExact = true;
    };
    std::map<std::pair<std::string, std::string>, Entry> entries; // by resource and object
    std::map<std::pair<std::string, std::string>, NearRow> nearest;
    uint64_t count = 0, left = 0;

    // Rows of one interval, by finding and by path.
    struct Belonging {
        ByFinding<WhoRow> culprits;
        ByFinding<SufferRow> sufferers;
        std::map<std::string_view, const CgroupRow*> groups;
        explicit Belonging(const Interval& interval);
    };

    void addFinding(const Interval& interval, const WhyRow& why, const Belonging& rows);
    void addDoer(const WhoRow& row, Entry& entry);

public:
    // An interval that has been judged.
    void add(const Interval& interval);
    // How many there were.
    uint64_t intervals() const { return count; }
    // How many findings were given up, because hundreds of others were longer or more severe. One that came again
    // counts again.
    uint64_t leftOut() const { return left; }
    // Whether it is one of those that are known.
    bool has(const std::string& resource, const std::string& object) const {
        return entries.contains({resource, object});
    }
    // The findings of all of them, as those of one interval.
    void result(Interval& interval) const;
};

// What the rules share: the interval that they judge, what they have found in it, and how culprits become rows.
#pragma once

#include "record/interval.h"
#include "why/limits.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct Scene;

// A culprit before its share is known.
struct Culprit {
    WhoRow row;
    double amount = 0;
    double order = 0; // most first; the amount, but where a rule says otherwise
};

struct Finding {
    WhyRow why;
    std::vector<Culprit> culprits;
    std::vector<SufferRow> sufferers;
    double total = 0; // of what the culprits have done, theirs included; in the unit of why.total_unit
    std::string rest; // what stands for the part of the total that nobody explains
    size_t at = 0;    // the row that it is about, in its kind
    // Fills in culprits and sufferers, for the findings that are shown.
    void (*blame)(const Scene& scene, Finding& finding) = nullptr;
};

struct Scene {
    const Interval& interval;
    const Limits& limits;
    std::vector<Finding> findings;
    std::vector<NearRow> nearest; // every figure that has a limit

    // Takes note of a figure. True: it is beyond its limit.
    bool measure(Rule rule, std::string_view resource, std::string_view object, double value);
    // The same, where the finding needs other figures, too: `share` percent of the way are done. A figure
    // beyond its limit that is no finding without those others comes last.
    void approach(Rule rule, std::string_view resource, std::string_view object, double value, double share);
    Finding& add(Rule rule, std::string_view resource, std::string_view object, double value, double severity);
    bool has(std::string_view resource, std::string_view object) const;
};

// --- Figures

inline double number(const std::optional<uint64_t>& value) { return static_cast<double>(value.value_or(0)); }
// Percent; 0 without a whole.
inline double percent(double part, double whole) { return whole > 0 ? part * 100 / whole : 0; }
// An amount in a second; 0 where the time is not known.
template <typename Kind> double perSecond(double amount, const Rows<Kind>& rows) {
    return rows.elapsed_us > 0 ? amount / rows.seconds() : 0;
}
// The stall time of a resource in percent of the interval; none without PSI.
struct Stall {
    double some = 0, full = 0;
};
std::optional<Stall> stallOf(const Interval& interval, std::string_view resource);
// "stalled some 71.5% full 62.0%"
std::string stallText(const Stall& stall);
// "12.3 MB/s"
std::string speedText(double bytes_per_second);
// Puts a text after another, with a comma between them.
void join(std::string& text, const std::string& more, std::string_view between = ", ");

// --- Processes

// "rsync[4411]"
std::string nameOf(const ProcRow& process);
// "fd 5 /srv/backup/db7.tar (deleted)"
std::string nameOf(const FileRow& file);
Culprit culpritOf(const ProcRow& process, double amount);
// Whether a path of a group is `group` or below it.
bool isBelow(std::string_view path, std::string_view group);

struct Sufferer {
    const ProcRow* process = nullptr;
    double value = 0;
};
// Adds the processes with most of something, but for the one that did most.
void addSufferers(Finding& finding, std::vector<Sufferer> sufferers, std::string_view what, std::string_view unit);
// Adds the processes in state D, those of one name together.
void addBlocked(const Scene& scene, Finding& finding);

// What is under pressure (WHY), who did it (WHO), who suffers from it (SUFFER), and, of what is not under pressure,
// what comes nearest to it (NEAR). Resource and object join the records of a finding.
#pragma once

#include "record/kind.h"
#include "record/rows.h"

#include <cstdint>
#include <optional>
#include <string>

// A finding: a figure is beyond its limit.
struct WhyRow {
    uint64_t rank = 0;    // 1 is the worst
    std::string resource; // CPU, MEMORY, DISK, FS, QUOTA, LINK, LIMIT, FORKS, BLOCKED, LISTEN, TCP, SOCKET
    std::string object;   // which one: sdb, /srv/backup, a group's path; empty: the machine
    std::string rule;     // the limit that it is beyond, as --limit names it: "disk.wait"
    std::string figure;   // what was measured: "writes wait"
    std::optional<double> value, limit;
    std::string unit;           // of value and limit: "ms", "%", "/s" ...
    std::string text;           // further figures with their limits
    std::string note;           // what follows from it, and for whom
    std::optional<double> ends; // seconds until it gets worse by itself, as it goes
    std::string end;            // what happens then: "full", "memory gone"
    double severity = 0;        // findings are ranked by it
    uint64_t total = 0;         // that the shares of the culprits are parts of
    std::string total_unit;     // "B", "us", or empty for a number of things
    // Of a finding of several intervals.
    uint64_t intervals = 1;   // in which it was one
    uint64_t lasted_us = 0;   // their time
    std::string worst;        // time of the worst, whose figures these are; empty: there is only one
    std::string since, until; // start of the first, end of the last; empty: there is only one
};
inline constexpr auto WhyKind =
    kind<WhyRow>("WHY", id("rank", &WhyRow::rank), id("resource", &WhyRow::resource), id("object", &WhyRow::object),
                 label("rule", &WhyRow::rule), label("figure", &WhyRow::figure), level("value", "", &WhyRow::value),
                 level("limit", "", &WhyRow::limit), label("unit", &WhyRow::unit), label("text", &WhyRow::text),
                 label("note", &WhyRow::note), level("ends", "s", &WhyRow::ends), label("end", &WhyRow::end),
                 level("severity", "", &WhyRow::severity), amount("total", "", &WhyRow::total),
                 label("total_unit", &WhyRow::total_unit), level("intervals", "", &WhyRow::intervals),
                 level("lasted", "us", &WhyRow::lasted_us), label("worst", &WhyRow::worst),
                 label("since", &WhyRow::since), label("until", &WhyRow::until));

// A culprit of a finding. The shares of all of a finding, `?` included, make 100.
struct WhoRow {
    uint64_t rank = 0; // of the finding
    std::string resource, object;
    uint64_t place = 0;                 // 1 has done most
    uint64_t share = 0;                 // percent of the finding's total
    char mark = '?';                    // '=': exact; '~': inferred; '?': not accounted for
    std::optional<uint64_t> pid;        // of a process
    std::optional<uint64_t> start;      // as in PROC
    std::string role;                   // what of it: "children"; empty: itself
    std::string name;                   // of the process, the group, or of what cannot be named
    std::string user, unit;             // unit: systemd unit, container or pod
    std::string cgroup;                 // path of its group
    uint64_t amount = 0;                // its part of the finding's total
    std::optional<uint64_t> descriptor; // of the file that it moved most
    std::string path;                   // of this file, or the filesystem
    std::string evidence;               // what it did, in words
    uint64_t count = 1;                 // of processes like it, which have done this together; the first is named
};
inline constexpr auto WhoKind = kind<WhoRow>(
    "WHO", id("rank", &WhoRow::rank), id("resource", &WhoRow::resource), id("object", &WhoRow::object),
    id("place", &WhoRow::place), level("share", "%", &WhoRow::share), label("mark", &WhoRow::mark),
    level("pid", "", &WhoRow::pid), level("start", "", &WhoRow::start), label("role", &WhoRow::role),
    label("name", &WhoRow::name), label("user", &WhoRow::user), label("unit", &WhoRow::unit),
    label("cgroup", &WhoRow::cgroup), amount("amount", "", &WhoRow::amount), level("fd", "", &WhoRow::descriptor),
    label("path", &WhoRow::path), label("evidence", &WhoRow::evidence), level("count", "", &WhoRow::count));

// Who has to wait.
struct SufferRow {
    uint64_t rank = 0; // of the finding
    std::string resource, object;
    uint64_t place = 0;                 // 1 suffers most
    std::optional<uint64_t> pid, start; // of one process
    std::string name;                   // of the process or processes
    uint64_t count = 1;                 // of processes of this name
    std::string what;                   // "blocked", "waited for a CPU", "major faults"
    std::optional<double> value;        // of it
    std::string unit;                   // of the value: "s", "/s"
};
inline constexpr auto SufferKind = kind<SufferRow>(
    "SUFFER", id("rank", &SufferRow::rank), id("resource", &SufferRow::resource), id("object", &SufferRow::object),
    id("place", &SufferRow::place), level("pid", "", &SufferRow::pid), level("start", "", &SufferRow::start),
    label("name", &SufferRow::name), level("count", "", &SufferRow::count), label("what", &SufferRow::what),
    level("value", "", &SufferRow::value), label("unit", &SufferRow::unit));

// Something that is not under pressure, with the figure that comes nearest to its limit.
struct NearRow {
    uint64_t place = 0; // 1 is the nearest
    std::string resource, object, rule, figure;
    std::optional<double> value, limit;
    std::string unit;
    double share = 0; // of the way to the limit, percent; 0: beyond it, but other figures keep it from being a finding
};
inline constexpr auto NearKind = kind<NearRow>(
    "NEAR", id("place", &NearRow::place), label("resource", &NearRow::resource), label("object", &NearRow::object),
    label("rule", &NearRow::rule), label("figure", &NearRow::figure), level("value", "", &NearRow::value),
    level("limit", "", &NearRow::limit), label("unit", &NearRow::unit), level("share", "%", &NearRow::share));

// The first culprit of the worst finding that is a process; null: there is none.
inline const WhoRow* firstCulprit(const Rows<WhoRow>& culprits) {
    const WhoRow* first = nullptr;
    for (auto& row : culprits.rows)
        if (row.pid && row.mark != '?' && (!first || row.rank < first->rank)) first = &row;
    return first;
}

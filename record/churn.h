// What began and ended: processes that a sample saw (START, EXIT), and those that lived and died between two samples,
// summed by parent and command (CHURN); all together (CHURNS).
#pragma once

#include "record/kind.h"

#include <cstdint>
#include <optional>
#include <string>

struct StartRow {
    uint64_t pid = 0, start = 0; // as in PROC
    std::string name;
    uint64_t parent = 0;
    std::string user, unit, command;
};
inline constexpr auto StartKind =
    kind<StartRow>("START", id("pid", &StartRow::pid), id("start", &StartRow::start), label("name", &StartRow::name),
                   level("ppid", "", &StartRow::parent), label("user", &StartRow::user), label("unit", &StartRow::unit),
                   label("command", &StartRow::command));

struct ExitRow {
    uint64_t pid = 0, start = 0; // as in PROC
    std::string name;
    uint64_t parent = 0;
    std::optional<uint64_t> code, signal; // where the kernel reported its end
    std::optional<uint64_t> cpu_us;       // since the last sample, where the kernel reported its end
    std::optional<uint64_t> life_us;      // from start to end
};
inline constexpr auto ExitKind = kind<ExitRow>(
    "EXIT", id("pid", &ExitRow::pid), id("start", &ExitRow::start), label("name", &ExitRow::name),
    level("ppid", "", &ExitRow::parent), level("code", "", &ExitRow::code), level("signal", "", &ExitRow::signal),
    amount("cpu", "us", &ExitRow::cpu_us), level("life", "us", &ExitRow::life_us));

// A row without command sums the children of a parent that ended, whatever they ran, less what they had at the last
// sample: where the kernel does not report ends, nothing else is known.
struct ChurnRow {
    uint64_t parent = 0, parent_start = 0; // as in PROC; start 0: the parent itself was not seen
    std::string command;                   // name of the processes that ended
    std::string parent_name, unit;
    std::optional<uint64_t> ended;           // where the kernel reported their ends
    std::optional<uint64_t> cpu_us, life_us; // sums
    std::optional<uint64_t> failed, killed;  // ended with a code other than 0; by a signal
};
inline constexpr auto ChurnKind =
    kind<ChurnRow>("CHURN", id("ppid", &ChurnRow::parent), id("parent_start", &ChurnRow::parent_start),
                   id("command", &ChurnRow::command), label("parent", &ChurnRow::parent_name),
                   label("unit", &ChurnRow::unit), amount("ended", "", &ChurnRow::ended),
                   amount("cpu", "us", &ChurnRow::cpu_us), amount("life", "us", &ChurnRow::life_us),
                   amount("failed", "", &ChurnRow::failed), amount("killed", "", &ChurnRow::killed));

struct ChurnsRow {
    std::optional<uint64_t> forks;  // of processes and threads, as the kernel counts them
    std::optional<uint64_t> ended;  // processes whose end the kernel reported; empty: it does not report them
    uint64_t lost = 0;              // times that reports were lost because too many came
    std::optional<uint64_t> unseen; // of `ended`, those that lived and died between two samples
};
inline constexpr auto ChurnsKind =
    kind<ChurnsRow>("CHURNS", amount("forks", "", &ChurnsRow::forks), amount("ended", "", &ChurnsRow::ended),
                    amount("lost", "", &ChurnsRow::lost), amount("unseen", "", &ChurnsRow::unseen));

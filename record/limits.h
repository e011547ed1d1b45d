// What the kernel gives out only so much of (LIMIT).
#pragma once

#include "record/kind.h"

#include <cstdint>
#include <optional>
#include <string>

struct LimitRow {
    std::string name; // "conntrack", "files", "pids" ...
    std::string unit; // of use and limit: "B", or empty for a number of things
    std::optional<uint64_t> use, limit;
    std::optional<uint64_t> reached; // how often in the interval; packets or entries were dropped then
};
inline constexpr auto LimitKind = kind<LimitRow>("LIMIT", id("name", &LimitRow::name), label("unit", &LimitRow::unit),
                                                 level("use", "", &LimitRow::use), level("limit", "", &LimitRow::limit),
                                                 amount("reached", "", &LimitRow::reached));

// How much of it is used, in percent; none: it is not known.
inline std::optional<double> useOf(const LimitRow& row) {
    if (!row.use || !row.limit || *row.limit == 0) return {};
    return static_cast<double>(*row.use) * 100 / static_cast<double>(*row.limit);
}
// From here on a limit is shown by itself.
inline constexpr double NearLimit = 50; // percent

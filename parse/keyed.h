// Files of "key value" lines with hundreds of keys, of which some are wanted: /proc/meminfo, /proc/vmstat, memory.stat.
// findKey in parse/keys.h reads such lines too, for the classic form: there a key is any beginning of a line, a missing
// value is 0, and an impossible one is what strtoll makes of it.
#pragma once

#include "base/numbers.h"
#include "parse/keys.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// A key, with the colon where the file has one ("MemTotal:"), and the member that takes its value.
template <typename T> using Keyed = Key<T, std::optional<uint64_t>>;

// Which key each line of the file had when it was last read. Kernels do not change the order while they run, so that
// one comparison a line is enough. Kept by the caller, one for each file.
struct KeyPlan {
    static constexpr size_t NotWanted = static_cast<size_t>(-1);
    struct Line {
        std::string name;
        size_t key = NotWanted; // its place in the list of keys
    };
    std::vector<Line> lines;
    const void* keys = nullptr; // the list of keys that it was made with; with another one it begins anew
};

// Sets each member from its line, and empties those that have none or whose value is no number.
template <typename T> void parseKeyed(std::string_view text, std::span<const Keyed<T>> keys, KeyPlan& plan, T& values) {
    for (auto& key : keys) (values.*key.field).reset();
    if (plan.keys != keys.data()) plan.lines.clear(), plan.keys = keys.data();
    size_t number = 0;
    for (std::string_view line; takeLine(text, line); number++) {
        const auto name = line.substr(0, line.find_first_of(" \t"));
        if (number >= plan.lines.size()) plan.lines.emplace_back();
        auto& planned = plan.lines[number];
        if (planned.name != name) {
            planned.name = name, planned.key = KeyPlan::NotWanted;
            for (size_t i = 0; i < keys.size(); i++)
                if (keys[i].key == name) planned.key = i;
        }
        if (planned.key == KeyPlan::NotWanted) continue;
        uint64_t value = 0;
        line.remove_prefix(name.size());
        if (takeNumber(line, value)) values.*keys[planned.key].field = value;
    }
}

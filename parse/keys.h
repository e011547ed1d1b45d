// Lines that begin with a key, and tables of the fields that their values go to. An entry of a table has at least
// `std::string_view key`.
#pragma once

#include "base/words.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

// The usual entry.
template <typename Row, typename Value = int64_t> struct Key {
    std::string_view key;
    Value Row::* field;
};

// The first entry whose key the line begins with, and in `rest` what follows it; null, and `rest` as it was, without
// one.
template <typename Entry, size_t N>
const Entry* findKey(const Entry (&table)[N], std::string_view line, std::string_view& rest) {
    if (line.empty()) return nullptr;
    for (auto& entry : table)
        if (entry.key[0] == line[0] && afterKey(line, entry.key, rest)) return &entry;
    return nullptr;
}

// Small files that say how much of something is in use, and what the kernel drops when it is used up.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

// /proc/net/softnet_stat: a line of hexadecimal numbers for each CPU.
struct Softnet {
    uint64_t dropped = 0, squeezed = 0; // since boot, all CPUs
    std::optional<uint64_t> backlog;    // packets that wait, of the CPU with the most; kernels since 5.10
};
// None: not this format.
std::optional<Softnet> parseSoftnet(std::string_view text);

// /proc/net/stat/*: titles, then a line of hexadecimal numbers for each CPU. The sum of a column; of `entries`, which
// the kernel repeats on each line, the number itself. None: the file has no such column.
std::optional<uint64_t> parseCpuColumn(std::string_view text, std::string_view title);

// The n-th number, from 0, of a text of numbers: "2701\t0\t9223372036854775807\n".
std::optional<uint64_t> parseNumberAt(std::string_view text, unsigned place);

// /proc/key-users: "    0:     9 8/8 3/1000000 40/25000000". The keys of the account that is nearest to its limit.
struct KeyUse {
    uint64_t keys = 0, limit = 0;
};
std::optional<KeyUse> parseKeyUsers(std::string_view text);

// Lists of CPUs or NUMA nodes as the kernel prints them: "0-3,8,10-11".
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

// How many numbers the list has; none: it is no such list.
std::optional<uint64_t> countOfList(std::string_view list);
// The numbers, at most 1024 of them; empty: it is no such list, or longer.
std::vector<uint64_t> numbersOfList(std::string_view list);

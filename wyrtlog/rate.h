// Numbers that are not printed as the log has them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

inline constexpr size_t RateSize = 32; // bytes that putRate() needs at most

// An amount divided by the seconds, with the fewest digits that give the same number back; nothing where there is no
// time to divide by. False: the cell is no number.
bool putRate(std::string_view cell, int64_t elapsed_us, char*& to);
// The same number as JSON has it. False: the cell is none.
bool appendNumber(std::string_view cell, std::string& out);

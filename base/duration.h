// Spans of time and counts as people write them on a command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// "2s", "500ms", "20us", "1.5m", "1h", "2d" or bare seconds, in microseconds. None: it is something else, below a
// microsecond but not 0, or longer than 1000 days.
std::optional<int64_t> parseDuration(std::string_view text);
// The same span in its largest whole unit: "500ms", "90s", "2m".
std::string durationText(int64_t microseconds);
// "2G", "500M", "64K", "1T" in steps of 1024, or bare bytes. None: it is something else, or beyond 10^18.
std::optional<uint64_t> parseSize(std::string_view text);
// Decimal digits only, below 10^15.
std::optional<uint64_t> parseCount(std::string_view text);

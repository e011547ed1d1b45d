// Points in time as people write them on a command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

// Milliseconds since 1970. `now_ms` is what relative times refer to; local times are those of the zone that is set.
//     14:05   14:05:10   14:05:10.5          today; a time that is still to come was yesterday
//     2026-11-21   "2026-11-21 14:05:10"     a day begins at midnight
//     2026-11-21T14:05:10.000+01:00          as in a log
//     -10m   "10 min ago"   "2 hours ago"    before now
//     now   today   yesterday   "yesterday 14:05"
//     @1795266641   @1795266641.5            seconds since 1970
// None: it is something else.
std::optional<int64_t> parseWhen(std::string_view text, int64_t now_ms);

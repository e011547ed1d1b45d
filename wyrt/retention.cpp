#include "wyrt/retention.h"

#include <algorithm>
#include <cstdlib>

static constexpr int64_t Hour = 3600000, Day = 24 * Hour; // milliseconds

void sortByAge(std::vector<KeptFile>& files, int64_t now_ms) {
    std::sort(files.begin(), files.end(), [&](const KeptFile& a, const KeptFile& b) {
        const bool lateA = a.begin_ms - Day > now_ms, lateB = b.begin_ms - Day > now_ms;
        if (lateA != lateB) return lateA;
        return a.begin_ms != b.begin_ms ? a.begin_ms < b.begin_ms : a.name < b.name;
    });
}

bool isOutdated(const KeptFile& file, const KeepLimits& limits, int64_t now_ms) {
    return limits.max_age_ms && file.begin_ms + Hour < now_ms - *limits.max_age_ms;
}

bool fits(const KeepLimits& limits, const Room& room) {
    if (limits.max_use && room.used + room.needed > *limits.max_use) return false;
    return room.free >= room.needed + limits.keep_free.value_or(0);
}

size_t tooMany(std::span<const KeptFile> files, const KeepLimits& limits, Room room) {
    size_t count = 0;
    for (; count < files.size() && !fits(limits, room); count++) {
        const uint64_t bytes = roomOf(files[count].bytes);
        room.used -= std::min(room.used, bytes);
        room.free += bytes;
    }
    return count;
}

bool TrustedClock::isTrusted(int64_t realtime_ms, int64_t monotonic_ms) {
    const int64_t difference = realtime_ms - monotonic_ms;
    if (!trusted) trusted = difference;
    if (std::llabs(difference - *trusted) <= Minute) return trusted = difference, true; // follows small corrections
    if (std::llabs(difference - other) > Minute) other = difference, since = monotonic_ms;
    if (monotonic_ms - since < Hour) return false;
    trusted = difference;
    return true;
}

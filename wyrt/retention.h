// How much a recorder keeps in its folder: which of the closed files have to go. Pure.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

struct KeepLimits {
    std::optional<uint64_t> max_use;   // bytes of all files
    std::optional<uint64_t> keep_free; // bytes that stay free on the filesystem
    std::optional<int64_t> max_age_ms;
};

// A closed file.
struct KeptFile {
    std::string name;
    int64_t begin_ms = 0;
    uint64_t bytes = 0;
};

// The room that files take on the disk is that of whole blocks.
constexpr uint64_t roomOf(uint64_t bytes) {
    constexpr uint64_t Block = 4096;
    return (bytes + Block - 1) / Block * Block;
}

// The oldest first. What begins more than a day from now was written before the clock was set back, so it is older than
// the rest.
void sortByAge(std::vector<KeptFile>& files, int64_t now_ms);

// Whether it has nothing but intervals that are too old. A file has one hour, or one interval. What was written before
// the clock was set back has no age: it only goes where there is no room.
bool isOutdated(const KeptFile& file, const KeepLimits& limits, int64_t now_ms);

// The room that there is and that is needed, in bytes.
struct Room {
    uint64_t used = 0;   // by all files of the recorder
    uint64_t free = 0;   // on the filesystem
    uint64_t needed = 0; // by what is to be written
};
bool fits(const KeepLimits& limits, const Room& room);
// How many of the oldest files must go until the rest fits; all of them where it never does.
size_t tooMany(std::span<const KeptFile> files, const KeepLimits& limits, Room room);

// Whether the clock can be trusted to say how old a file is. A clock that was set by more than a minute is trusted when
// it has stayed so for an hour. So a wrong clock that is put right soon deletes nothing.
class TrustedClock {
    static constexpr int64_t Minute = 60000, Hour = 3600000; // milliseconds
    std::optional<int64_t> trusted;                          // the clock minus the monotonic clock
    int64_t other = 0, since = 0;                            // another difference, and since when it stands

public:
    bool isTrusted(int64_t realtime_ms, int64_t monotonic_ms);
};

// When a log needs a head, and with it an interval that has everything: at its start, when the clock was set back, and
// in a folder, where a head begins a new file, in every hour of UTC and when the file is large.
#pragma once

#include <algorithm>
#include <cstdint>

class Heads {
    static constexpr int64_t Hour = 3600000;            // milliseconds
    static constexpr uint64_t Largest = 64 << 20;       // bytes of a file
    static constexpr uint64_t Parts = 8, FewPieces = 4; // see room()
    bool folder;
    uint64_t most;
    bool any = false;
    int64_t last_ms = 0, hour = 0;
    uint64_t bytes = 0, first = 0, latest = 0;

    static int64_t hourOf(int64_t epoch_ms) { return (epoch_ms >= 0 ? epoch_ms : epoch_ms - Hour + 1) / Hour; }
    // An eighth of what may be kept, so that old intervals go in small parts. But a file has some intervals besides
    // the first, which is much larger than the others.
    uint64_t room() const { return std::min(Largest, std::max(most / Parts, std::min(FewPieces * first, most / 2))); }

public:
    // `max_use`: what the folder may hold; 0: no limit.
    Heads(bool inFolder, uint64_t max_use) : folder(inFolder), most(max_use ? max_use : Parts * Largest) {}
    bool isDue(int64_t now_ms) const {
        if (!any || now_ms < last_ms) return true;
        return folder && (hourOf(now_ms) != hour || bytes + latest > room());
    }
    void put(int64_t now_ms, uint64_t size, bool begins) {
        if (begins) bytes = 0, first = size, hour = hourOf(now_ms);
        bytes += size;
        latest = begins ? 0 : size;
        last_ms = now_ms;
        any = true;
    }
};

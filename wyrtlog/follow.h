// Waits for what a recorder writes next: the growth of its file, or the file after it.
#pragma once

#include "base/wait.h"
#include "wyrtlog/logfiles.h"
#include "wyrtlog/watcher.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

class Follower {
    Watcher* watcher; // null: nobody wants to know
    std::optional<Signals> own;
    Signals& signals; // those, or the watcher's
    const std::vector<std::string>& operands;
    // Files, without what compressing them adds; "PATH inode" of operands. The last look that found them: those that
    // nobody has seen for long are forgotten, because a recorder makes others for ever.
    std::map<std::string, uint64_t, std::less<>> known;
    uint64_t looks = 0;
    std::vector<LogPath> fresh;

    void look();
    void forgetOld();

public:
    static constexpr uint64_t Turn = 240; // looks, a minute: a file that has another name for a moment is no new one
    Follower(const std::vector<std::string>& words, Watcher* by);
    // These are read already, or will be.
    void know(const std::vector<LogPath>& paths);
    // Waits a while. False: it is over (SIGINT, SIGTERM, nobody reads the output, or the watcher has enough).
    bool wait();
    // Whether there are files that nobody knew.
    bool hasNew() const { return !fresh.empty(); }
    std::vector<LogPath> takeNew();
    size_t remembered() const { return known.size(); }
};

// Waits for what a recorder writes next: the growth of its file, or the file after it.
#pragma once

#include "base/wait.h"
#include "wyrtlog/logfiles.h"
#include "wyrtlog/watcher.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

class Follower {
    Watcher* watcher; // null: nobody wants to know
    std::optional<Signals> own;
    Signals& signals; // those, or the watcher's
    const std::vector<std::string>& operands;
    std::set<std::string, std::less<>> known; // files, without what compressing them adds; "PATH inode" of operands
    std::vector<LogPath> fresh;

    void look();

public:
    Follower(const std::vector<std::string>& words, Watcher* by);
    // These are read already, or will be.
    void know(const std::vector<LogPath>& paths);
    // Waits a while. False: it is over (SIGINT, SIGTERM, nobody reads the output, or the watcher has enough).
    bool wait();
    // Whether there are files that nobody knew.
    bool hasNew() const { return !fresh.empty(); }
    std::vector<LogPath> takeNew();
};

// Waits for what a recorder writes next: the growth of its file, or the file after it.
#pragma once

#include "base/wait.h"
#include "wyrtlog/logfiles.h"

#include <set>
#include <string>
#include <vector>

class Follower {
    Signals signals;
    const std::vector<std::string>& operands;
    std::set<std::string, std::less<>> known; // files, without what compressing them adds; "PATH inode" of operands
    std::vector<LogPath> fresh;

    void look();

public:
    explicit Follower(const std::vector<std::string>& words) : operands(words) {}
    // These are read already, or will be.
    void know(const std::vector<LogPath>& paths);
    // Waits a while. False: it is over (SIGINT, SIGTERM, or nobody reads the output).
    bool wait();
    // Whether there are files that nobody knew.
    bool hasNew() const { return !fresh.empty(); }
    std::vector<LogPath> takeNew();
};

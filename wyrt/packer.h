// Compresses closed logs, one at a time, by wyrtlog in a process of its own. Without wyrtlog they stay as they are.
#pragma once

#include "base/child.h"
#include "wyrt/retention.h"

#include <set>
#include <string>
#include <vector>

class Packer {
    Child child;
    std::string name;            // of the file at hand
    std::set<std::string> given; // those that it was given and that stayed as they were
    bool missing = false;        // there is no wyrtlog

public:
    bool isBusy() const { return child.isRunning(); }
    // The file at hand; empty: none.
    const std::string& file() const { return name; }
    // Whether it may be given this file.
    bool takes(const std::string& file) const { return !missing && !given.contains(file); }
    void refuse(const std::string& file) { given.insert(file); }
    // These are the files that there are. Of others nothing need be known.
    void knowOnly(const std::vector<KeptFile>& files);
    void start(const std::string& dir, const std::string& file);
    // True once when the file at hand is done, whatever came of it.
    bool isDone();
    void stop();
};

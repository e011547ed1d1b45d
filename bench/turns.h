// Samples of the new form and bare reads of the same files, which take turns, and what they cost.
#pragma once

#include "record/interval.h"
#include "wyrt/source.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

struct Figures {
    double least = 0, median = 0;
};
struct Cost {
    Figures ours, bare;  // ms
    double resident = 0; // bytes, after the last pass
};
struct Passes {
    size_t count = 200;
    int pause_ms = 0; // before each piece of work, so that the caches are as cold as they are then
};

// `change` runs before each pass and is not measured.
Cost takeTurns(const std::function<void()>& ours, const std::function<void()>& bare,
               const std::function<void(size_t pass)>& change, Passes passes);
// In a process of its own, so that each measurement starts with the same memory.
Cost apart(const std::function<Cost()>& measure);

// The program's part: a sample of areas, and its rows.
class Sampled {
    Helper helper; // outlives the sources
    std::vector<std::unique_ptr<Source>> sources;
    Interval interval;
    bool first = true;

public:
    Sampled(std::string_view areas, const Root& root) : sources(makeSources(areas, root, helper)) {}
    void operator()() {
        for (auto& source : sources) source->sample();
        clearRows(interval);
        interval.complete = first;
        first = false;
        for (auto& source : sources) source->rows(interval);
    }
};

// Files that are held open and read from their beginning; nothing is done with what they say.
class Held {
    std::vector<int> files;
    std::vector<char> room = std::vector<char>(1 << 16);

public:
    explicit Held(const std::vector<std::string>& names) {
        for (auto& name : names)
            if (const int fd = open(name.c_str(), O_RDONLY | O_CLOEXEC); fd >= 0) files.push_back(fd);
    }
    void operator()() {
        for (const int fd : files)
            for (off_t at = 0;;) {
                const auto got = pread(fd, room.data(), room.size(), at);
                if (got <= 0) break;
                at += got;
            }
    }
};

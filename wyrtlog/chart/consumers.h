// The charts of who uses the machine: processes by name and unit, and control groups.
#pragma once

#include "record/interval.h"
#include "wyrtlog/chart/picture.h"
#include "wyrtlog/chart/top.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

class ConsumerCharts {
    // What was known last: a process or group without a row is as it was.
    struct Level {
        uint32_t member = 0;
        uint64_t start = 0;
        float bytes = 0;
    };
    Members processes, groups;
    Top cpu, wait, io, memory, network;
    Top groupCpu, groupIo, groupMemory;
    std::map<uint64_t, Level> processMemory; // by pid
    std::map<std::string, Level, std::less<>> groupsMemory;
    std::vector<Stack::Part> parts; // working space

    void addProcesses(const Interval& interval, int64_t time_ms);
    void addProcessMemory(const Interval& interval, int64_t time_ms);
    void addGroups(const Interval& interval, int64_t time_ms);

public:
    void add(const Interval& interval, int64_t time_ms);
    void halve();
    void give(std::vector<Picture>& all) const;
};

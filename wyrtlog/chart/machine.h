// The charts of the machine as a whole: CPU, pressure, run queue, memory, swap, reclaim, and what wyrt itself costs.
#pragma once

#include "record/interval.h"
#include "wyrtlog/chart/picture.h"

class MachineCharts {
    Stack cpu, memory;
    std::vector<size_t> numbers; // of the lines, once there are any

    void addCpu(const Interval& interval, int64_t time_ms, Lines& lines);
    void addMemory(const Interval& interval, int64_t time_ms, Lines& lines);
    void addSelf(const Interval& interval, Lines& lines);

public:
    void add(const Interval& interval, int64_t time_ms, Lines& lines);
    void halve();
    void give(const Lines& lines, std::vector<Picture>& all) const;
};

// The charts of a page, collected from one interval after the other. Memory is bounded, however long the log.
#pragma once

#include "record/interval.h"
#include "wyrtlog/chart/consumers.h"
#include "wyrtlog/chart/devices.h"
#include "wyrtlog/chart/machine.h"
#include "wyrtlog/chart/picture.h"

class Charts {
    Lines lines;
    MachineCharts machine;
    DeviceCharts devices;
    ConsumerCharts consumers;

public:
    // `time_ms`: the interval's end; later than that of the one before.
    void add(const Interval& interval, int64_t time_ms);
    // All charts that have something to show, in the order of the page, with at most about so many values in all.
    std::vector<Picture> pictures(size_t mostValues);
    // The times of the points of the charts that are not stacks.
    std::vector<int64_t> times() const;
    // What found no place among the pictures.
    const DeviceCharts& ofDevices() const { return devices; }
};

// A made-up machine for the disks of the classic form, and its samples.
#pragma once

#include "classic/collect/disk.h"
#include "classic/monitor/options.h"
#include "tests/unit/made.h"

#include <string>
#include <vector>

// A machine whose step N has the N-th text as its diskstats.
struct Machine : Made {
    explicit Machine(const std::vector<std::string>& diskstats, const std::string& first = {})
        : Made(first + "\n" + steps(diskstats)) {
        ShowDiskInfo = 0;
    }
    static std::string steps(const std::vector<std::string>& diskstats) {
        std::string lines;
        for (size_t i = 0; i < diskstats.size(); i++)
            lines += "step " + std::to_string(i) + "\nfile /proc/diskstats <<END\n" + diskstats[i] + "END\n";
        return lines;
    }
};

// Takes the samples of the machine one after another.
class Disks {
    Machine& machine;
    int pass = 0;

public:
    TDiskSlots slots;
    bool mapped = false; // the last sample built the volume map
    explicit Disks(Machine& m) : machine(m) {}
    int sample(double seconds = 1) {
        if (pass > 0) machine.step();
        const int now = pass % 2, before = 1 - now;
        mapped = getDiskSample(pass++, now, before, seconds, slots).mapStart.has_value();
        return getdisk(now, before, seconds, slots);
    }
    const TDiskRate& row(size_t i) const { return slots.result.at(i); }
};

inline std::string disk(const std::string& name, const std::string& counters, int minor = 0) {
    std::string line = "   8       ";
    line.append(std::to_string(minor)).append(" ").append(name).append(" ").append(counters).append("\n");
    return line;
}

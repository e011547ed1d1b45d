// The charts of disks, filesystems, interfaces and of TCP.
#pragma once

#include "record/interval.h"
#include "wyrtlog/chart/picture.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

class DeviceCharts {
public:
    void add(const Interval& interval, Lines& lines);
    void give(const Lines& lines, std::vector<Picture>& all) const;

private:
    // Lines that exist once they have something to show.
    using Numbers = std::vector<std::optional<size_t>>;
    struct Device {
        std::string name, holds;
        Numbers numbers;
        double sum = 0; // of what it moved, bytes; of a filesystem the largest share in use
    };
    using Devices = std::map<std::string, Device, std::less<>>;

    Devices disks, links;      // by name; more than one can look at are left out
    Devices filesystems;       // the fullest
    Numbers protocols, states; // of TCP: counters; sockets by state

    static Device* find(Devices& devices, const std::string& key);
    Device* filesystemOf(const std::string& point, double use, Lines& lines);
    static void set(Numbers& numbers, size_t shown, double value, Absent absent, Lines& lines);
    void addDisks(const Interval& interval, Lines& lines);
    void addFilesystems(const Interval& interval, Lines& lines);
    void addLinks(const Interval& interval, Lines& lines);
    void addProtocols(const Interval& interval, Lines& lines);
    void addStates(const Interval& interval, Lines& lines);
};

// The charts of disks, filesystems, interfaces and of TCP.
#pragma once

#include "record/interval.h"
#include "wyrtlog/chart/picture.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

class DeviceCharts {
public:
    void add(const Interval& interval, Lines& lines);
    void give(const Lines& lines, std::vector<Picture>& all) const;
    // How many moved something, and have no charts because so many others moved more; of very many a part only.
    size_t disksLeftOut() const { return disks.leftOut(); }
    size_t linksLeftOut() const { return links.leftOut(); }
    static constexpr size_t Shown = 64; // disks, and interfaces, on a page

private:
    // Lines that exist once they have something to show.
    using Numbers = std::vector<std::optional<size_t>>;
    struct Device {
        std::string name, holds;
        Numbers numbers;
        double sum = 0; // of what it moved, bytes; of a filesystem the largest share in use
    };
    // More than are shown: who moves most is only known at the end.
    struct Devices {
        size_t most;
        std::map<std::string, Device, std::less<>> kept{};
        std::set<std::string, std::less<>> others{}; // names of those that found no place, or lost it
        double least = 0;                            // no sum of what is kept is less

        Device* find(const std::string& key);
        Device* place(const std::string& key, double amount, Lines& lines);
        std::vector<const Device*> largest() const;
        size_t leftOut() const { return others.size() + kept.size() - std::min(kept.size(), Shown); }
    };

    Devices disks{4 * Shown}, links{4 * Shown}, filesystems{Shown};
    Numbers protocols, states; // of TCP: counters; sockets by state

    static void set(Numbers& numbers, size_t shown, double value, Absent absent, Lines& lines);
    void addDisks(const Interval& interval, Lines& lines);
    void addFilesystems(const Interval& interval, Lines& lines);
    void addLinks(const Interval& interval, Lines& lines);
    void addProtocols(const Interval& interval, Lines& lines);
    void addStates(const Interval& interval, Lines& lines);
};

// The map of volumes, and what rows of other areas get from it.
#pragma once

#include "model/volumes.h"
#include "sample/volumewatch.h"
#include "view/volumes.h"
#include "wyrt/source.h"

#include <map>
#include <optional>
#include <string>

// The map has rows in the first interval of a log and whenever something in it has changed. The disks,
// filesystems and files of the interval, which come before it in the list, get from it what they hold and where they
// are.
class VolumeSource : public Source {
    using Names = std::map<std::string, std::string, std::less<>>; // by device number
    VolumeSampler sampler;
    Interval map;                              // as it is now
    Names mapped;                              // volumes of mapped devices
    Names kinds;                               // of disks that are multipath disks or their paths
    std::optional<Holdings> holdings;          // of this map
    Names held;                                // what was asked for so far
    std::map<std::string, VolumePlace> places; // the same, of filesystems, by device number and mount
    bool known = false, changed = true;

    void makeMap();
    std::string_view volumeOf(const std::string& device) const;
    void setHoldings(Rows<DiskRow>& disks);
    void setPlaces(Rows<FileRow>& files);

public:
    VolumeSource(const Root& root, Helper& helper) : sampler(root, helper) {}
    void sample() override { changed |= sampler.sample(); }
    uint64_t notAllowed() const override { return sampler.notAllowed(); }
    void rows(Interval& interval) override;
};

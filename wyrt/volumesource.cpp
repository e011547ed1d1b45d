#include "wyrt/volumesource.h"

template <typename Row> static void put(Rows<Row>& to, std::vector<Row>&& rows) {
    to.sampled = true;
    to.rows = std::move(rows);
}

void VolumeSource::makeMap() {
    auto made = volumeMap(sampler.now);
    put(map.volumes, std::move(made.volumes));
    put(map.holds, std::move(made.holds));
    put(map.mounts, std::move(made.mounts));
    put(map.volumeGroups, std::move(made.groups));
    mapped = std::move(made.mapped);
    holdings.emplace(map);
    kinds.clear();
    for (auto& volume : map.volumes.rows)
        if (volume.kind == "mpath") kinds[volume.dev] = "mpath";
    for (auto& edge : map.holds.rows)
        if (const auto holder = kinds.find(edge.holder); holder != kinds.end() && holder->second == "mpath")
            kinds.try_emplace(edge.held, "path");
    held.clear();
    places.clear();
    known = true;
}

std::string_view VolumeSource::volumeOf(const std::string& device) const {
    const auto found = mapped.find(device);
    return found == mapped.end() ? std::string_view() : found->second;
}

void VolumeSource::setHoldings(Rows<DiskRow>& disks) {
    for (auto& disk : disks.rows) {
        auto found = held.find(disk.device);
        if (found == held.end()) found = held.emplace(disk.device, holdings->of(disk.device)).first;
        disk.holds = found->second, disk.volume = volumeOf(disk.device);
        if (const auto kind = kinds.find(disk.device); kind != kinds.end()) disk.kind = kind->second;
    }
}

void VolumeSource::setPlaces(Rows<FileRow>& files) {
    for (auto& file : files.rows) {
        if (file.device.empty()) continue;
        const auto [found, isNew] = places.try_emplace(file.device + " " + file.mount);
        if (isNew) found->second = placeOf(map.volumes.rows, map.holds.rows, map.mounts.rows, file.device, file.mount);
        file.volume = found->second.volume, file.disk = found->second.disks;
    }
}

void VolumeSource::rows(Interval& interval) {
    if (changed || !known) makeMap();
    if (changed || interval.complete) {
        interval.volumes = map.volumes;
        interval.holds = map.holds;
        interval.mounts = map.mounts;
        interval.volumeGroups = map.volumeGroups;
    }
    changed = false;
    setHoldings(interval.disks);
    for (auto& filesystem : interval.filesystems.rows) filesystem.volume = volumeOf(filesystem.device);
    setPlaces(interval.files);
}

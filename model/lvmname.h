// Names of the device mapper: which of them are LVM's, what they stand for, and which are hidden layers.
#pragma once

#include <string>
#include <string_view>

// "vg--safe-data" is volume "data" of group "vg-safe": hyphens of the names are doubled.
struct LvmName {
    std::string group, volume, layer; // layer: "real", "cow", "tpool" of "vg-lv-real"
};
LvmName splitLvmName(std::string_view name);

bool isLvm(std::string_view uuid);
// Whether a volume is one of those that LVM makes for itself: a leg of a mirror, metadata, the origin below a snapshot.
bool isHiddenLvm(std::string_view name, std::string_view uuid);
// Of a layer that others share ("pool0-tpool", "orig-real") the name of the volume it belongs to; else empty.
std::string_view layerOwner(std::string_view name, std::string_view uuid);

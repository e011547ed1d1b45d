// Disks, volume groups and logical volumes.
#pragma once

#include "record/field.h"

namespace classic {
inline constexpr auto DiskNameField = only({"name", Role::Id, "", Form::Text});
inline constexpr auto VolumeIndexField = only({"index", Role::Id, "", Form::Int});
inline constexpr Field ActivityFields[] = {
    {"busy",   Role::Level, "%",       Form::Real2},
    {"rbytes", Role::Level, "bytes/s", Form::Real2},
    {"wbytes", Role::Level, "bytes/s", Form::Real2},
    {"rxfers", Role::Level, "/s",      Form::Real2},
    {"wxfers", Role::Level, "/s",      Form::Real2},
    {"rawait", Role::Level, "ms",      Form::Real2},
    {"wawait", Role::Level, "ms",      Form::Real2},
    {"await",  Role::Level, "ms",      Form::Real2},
    {"svctm",  Role::Level, "ms",      Form::Real2},
    {"avgque", Role::Level, "",        Form::Real2},
};
inline constexpr Field DiskPlaceFields[] = {
    {"maj",       Role::Id,   "", Form::Int },
    {"min",       Role::Id,   "", Form::Int },
    {"vg",        Role::Text, "", Form::Text},
    {"fs",        Role::Text, "", Form::Text},
    {"lv",        Role::Text, "", Form::Text},
    {"multipath", Role::Text, "", Form::Text},
};
inline constexpr Field VolumePlaceFields[] = {
    {"vg", Role::Id,   "", Form::Text},
    {"lv", Role::Id,   "", Form::Text},
    {"fs", Role::Text, "", Form::Text},
};
inline constexpr auto DiskFields = joined<DiskNameField, ActivityFields, DiskPlaceFields>();
inline constexpr auto VolumeFields = joined<VolumeIndexField, ActivityFields, VolumePlaceFields>();

inline constexpr Kind DiskKind = {"DISK", DiskFields, std::size(DiskFields)};
inline constexpr Kind GroupActivityKind = {"LVMVG", VolumeFields};
inline constexpr Kind VolumeActivityKind = {"LVMLV", VolumeFields};
} // namespace classic

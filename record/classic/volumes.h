// The volume map: its lists. The number of entries precedes each list.
#pragma once

#include "record/field.h"

namespace classic {
inline constexpr auto CountFields = only({"count", Role::Level, "", Form::Int});

inline constexpr Kind GroupCountKind = {"vgcount", CountFields};
inline constexpr Field GroupFields[] = {
    {"index",     Role::Id,    "",        Form::Int },
    {"name",      Role::Id,    "",        Form::Text},
    {"format",    Role::Text,  "",        Form::Text},
    {"access",    Role::Text,  "",        Form::Text},
    {"status",    Role::Text,  "",        Form::Text},
    {"maxlv",     Role::Level, "",        Form::Int },
    {"curlv",     Role::Level, "",        Form::Int },
    {"openlv",    Role::Level, "",        Form::Int },
    {"maxpv",     Role::Level, "",        Form::Int },
    {"curpv",     Role::Level, "",        Form::Int },
    {"actpv",     Role::Level, "",        Form::Int },
    {"vgsize",    Role::Text,  "",        Form::Text},
    {"pesize",    Role::Text,  "",        Form::Text},
    {"totalpe",   Role::Level, "extents", Form::Int },
    {"allocpe",   Role::Level, "extents", Form::Int },
    {"allocsize", Role::Text,  "",        Form::Text},
    {"freepe",    Role::Level, "extents", Form::Int },
    {"freesize",  Role::Text,  "",        Form::Text},
    {"uuid",      Role::Id,    "",        Form::Text},
};
inline constexpr Kind GroupKind = {"vg", GroupFields};

inline constexpr Kind LogicalCountKind = {"lvcount", CountFields};
inline constexpr Field LogicalFields[] = {
    {"index",      Role::Id,    "",        Form::Int },
    {"name",       Role::Id,    "",        Form::Text},
    {"path",       Role::Id,    "",        Form::Text},
    {"vgname",     Role::Id,    "",        Form::Text},
    {"uuid",       Role::Id,    "",        Form::Text},
    {"waccess",    Role::Text,  "",        Form::Text},
    {"status",     Role::Text,  "",        Form::Text},
    {"open",       Role::Level, "",        Form::Int },
    {"lvsize",     Role::Text,  "",        Form::Text},
    {"curle",      Role::Level, "extents", Form::Int },
    {"segments",   Role::Level, "",        Form::Int },
    {"allocation", Role::Text,  "",        Form::Text},
    {"RHS",        Role::Text,  "sectors", Form::Text},
    {"curRHS",     Role::Text,  "sectors", Form::Text},
    {"major",      Role::Level, "",        Form::Int },
    {"minor",      Role::Level, "",        Form::Int },
    {"mount",      Role::Text,  "",        Form::Text},
};
inline constexpr Kind LogicalKind = {"lv", LogicalFields};

inline constexpr Field LogicalSegmentFields[] = {
    {"volume", Role::Id,    "",        Form::Int },
    {"index",  Role::Id,    "",        Form::Int },
    {"name",   Role::Text,  "",        Form::Text},
    {"type",   Role::Text,  "",        Form::Text},
    {"lext0",  Role::Level, "extents", Form::Int },
    {"lext1",  Role::Level, "extents", Form::Int },
    {"pext0",  Role::Level, "extents", Form::Int },
    {"pext1",  Role::Level, "extents", Form::Int },
};
inline constexpr Kind LogicalSegmentKind = {"lvseg", LogicalSegmentFields};

inline constexpr Kind MountCountKind = {"mountcount", CountFields};
inline constexpr Field MountFields[] = {
    {"index",  Role::Id,    "",   Form::Int  },
    {"dir",    Role::Id,    "",   Form::Text },
    {"fsname", Role::Text,  "",   Form::Text },
    {"type",   Role::Text,  "",   Form::Text },
    {"total",  Role::Level, "MB", Form::Real1},
    {"free",   Role::Level, "MB", Form::Real1},
    {"avail",  Role::Level, "MB", Form::Real1},
    {"inodes", Role::Level, "%",  Form::Real1},
    {"lv",     Role::Text,  "",   Form::Text },
    {"path",   Role::Text,  "",   Form::Text },
};
inline constexpr Kind MountKind = {"mount", MountFields};

inline constexpr Kind PhysicalCountKind = {"pvcount", CountFields};
inline constexpr Field PhysicalFields[] = {
    {"index",       Role::Id,    "",        Form::Int },
    {"name",        Role::Id,    "",        Form::Text},
    {"lastname",    Role::Text,  "",        Form::Text},
    {"vgname",      Role::Text,  "",        Form::Text},
    {"pvsize",      Role::Text,  "",        Form::Text},
    {"notusable",   Role::Text,  "",        Form::Text},
    {"allocatable", Role::Text,  "",        Form::Text},
    {"pesize",      Role::Text,  "",        Form::Text},
    {"totalpe",     Role::Level, "extents", Form::Int },
    {"freepe",      Role::Level, "extents", Form::Int },
    {"allocatedpe", Role::Level, "extents", Form::Int },
    {"uuid",        Role::Id,    "",        Form::Text},
    {"segcount",    Role::Level, "",        Form::Int },
};
inline constexpr Kind PhysicalKind = {"pv", PhysicalFields};

inline constexpr Field PhysicalSegmentFields[] = {
    {"volume", Role::Id,    "",        Form::Int },
    {"index",  Role::Id,    "",        Form::Int },
    {"name",   Role::Text,  "",        Form::Text},
    {"pext0",  Role::Level, "extents", Form::Int },
    {"pext1",  Role::Level, "extents", Form::Int },
    {"lext0",  Role::Level, "extents", Form::Int },
    {"lext1",  Role::Level, "extents", Form::Int },
};
inline constexpr Kind PhysicalSegmentKind = {"pvseg", PhysicalSegmentFields};

inline constexpr Kind PathCountKind = {"pathcount", CountFields};
inline constexpr Field PathFields[] = {
    {"index",     Role::Id,    "", Form::Int },
    {"name",      Role::Id,    "", Form::Text},
    {"alias",     Role::Text,  "", Form::Text},
    {"wwid",      Role::Id,    "", Form::Text},
    {"size",      Role::Text,  "", Form::Text},
    {"desc",      Role::Text,  "", Form::Text},
    {"diskcount", Role::Level, "", Form::Int },
};
inline constexpr Kind PathKind = {"path", PathFields};

inline constexpr Field MemberFields[] = {
    {"device",    Role::Id,    "", Form::Int },
    {"index",     Role::Id,    "", Form::Int },
    {"name",      Role::Id,    "", Form::Text},
    {"property",  Role::Text,  "", Form::Text},
    {"pathindex", Role::Level, "", Form::Int },
    {"pathstate", Role::Text,  "", Form::Text},
};
inline constexpr Kind MemberKind = {"pathmembers", MemberFields};

inline constexpr Field DiskMapFields[] = {
    {"index",  Role::Id,   "", Form::Int },
    {"name",   Role::Id,   "", Form::Text},
    {"ext",    Role::Text, "", Form::Text},
    {"vgname", Role::Text, "", Form::Text},
    {"lvname", Role::Text, "", Form::Text},
    {"fsname", Role::Text, "", Form::Text},
};
inline constexpr Kind DiskMapKind = {"diskmap", DiskMapFields};

inline constexpr Kind MapCompleteKind = {"lvm,mapping,complete", {}};
} // namespace classic
